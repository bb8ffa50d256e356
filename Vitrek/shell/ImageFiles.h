#pragma once

#include <QByteArray>
#include <QImage>
#include <QString>

#include <optional>

namespace vitrek {

// The image as PNG bytes; absent when it cannot be encoded.
std::optional<QByteArray> pngBytes(const QImage& image);

// Writes all or nothing: an interrupted write never leaves half a file under the final name, and a file
// already there stays as it was until the new one is complete.
// On failure `error`, when given, says why.
bool writeAtomically(const QString& path, const QByteArray& bytes, QString* error = nullptr);

} // namespace vitrek
