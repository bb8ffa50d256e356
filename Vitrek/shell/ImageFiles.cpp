#include "shell/ImageFiles.h"

#include <QBuffer>
#include <QImageWriter>
#include <QSaveFile>

namespace vitrek {

std::optional<QByteArray> pngBytes(const QImage& image) {
    if (image.isNull()) {
        return std::nullopt;
    }
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "png");
    if (!writer.write(image)) {
        return std::nullopt;
    }
    return bytes;
}

bool writeAtomically(const QString& path, const QByteArray& bytes, QString* error) {
    QSaveFile file(path);
    if (file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.commit()) {
        return true;
    }
    if (error) {
        *error = file.errorString();
    }
    return false;
}

} // namespace vitrek
