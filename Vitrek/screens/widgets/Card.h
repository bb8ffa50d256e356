#pragma once

#include <QWidget>

namespace vitrek {

// The card frame: 16 of padding around its layout, a rounded rectangle of radius 16 filled with the card
// colour and stroked with the hairline colour.
class Card : public QWidget {
    Q_OBJECT

public:
    explicit Card(QWidget* parent = nullptr);

protected:
    void paintEvent(QPaintEvent* event) override;
};

} // namespace vitrek
