#pragma once

#include <QColor>
#include <QWidget>

namespace vitrek {

// A symbol, or a filled dot when the name is empty, centred in a fixed box and painted in one colour.
class Glyph : public QWidget {
    Q_OBJECT

public:
    // `box` is the widget's fixed size, `glyph` the size of the symbol or dot inside it.
    Glyph(QSize box, QSize glyph, QWidget* parent = nullptr);

    void set(const QString& symbol, const QColor& color);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString m_symbol;
    QSize m_glyph;
    QColor m_color;
};

} // namespace vitrek
