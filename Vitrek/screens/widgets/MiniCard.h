#pragma once

#include "Card.h"

class QVBoxLayout;

namespace vitrek {

class Kicker;

// A small clickable card: its title as a kicker over content the owner puts in `content()`.
class MiniCard : public Card {
    Q_OBJECT

public:
    explicit MiniCard(const QString& title, QWidget* parent = nullptr);

    // The layout under the title, for the card's content.
    QVBoxLayout* content() const { return m_content; }

signals:
    void clicked();

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    Kicker* m_title = nullptr;
    QVBoxLayout* m_content = nullptr;
};

} // namespace vitrek
