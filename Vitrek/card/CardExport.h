#pragma once

#include "card/ShareCard.h"
#include "time/Instant.h"

#include <QByteArray>
#include <QString>

#include <functional>
#include <optional>
#include <string>

class QWidget;

namespace vitrek {

class Store;

// Builds the share card from the Store, renders it to PNG and hands it to the user.
namespace CardExport {

// Absent before the Store's first reading: there is nothing to share yet.
std::optional<ShareCard> card(const Store& store);
// The card rendered at scale 1.0 (exactly 1080 × 1350 pixels) and encoded as PNG; absent without a card
// or when a step fails.
std::optional<QByteArray> png(const Store& store);
// "Vitrek 2026-11-16.png": the day of `now` in `calendar`.
std::string fileName(Instant now, const Calendar& calendar);

// Asks where to save the card (PNG only, the proposed name above) and writes it there. Does nothing
// without a card; a failure to write is not reported, and a cancel leaves no file behind.
void save(const Store& store, QWidget* parent = nullptr);
// Writes the card to the temporary folder under the same name as `save` proposes; the file's path, or
// absent without a card or when it cannot be written.
std::optional<QString> writeForSharing(const Store& store);
// Shows the file selected in the desktop's file manager (the freedesktop FileManager1 interface), else
// opens its folder.
void revealInFileManager(const QString& path);
// Writes the card for sharing, puts the image (and the file) on the clipboard and hands the file to
// `reveal`. Does nothing without a card.
void share(const Store& store, const std::function<void(const QString&)>& reveal = revealInFileManager);

} // namespace CardExport

} // namespace vitrek
