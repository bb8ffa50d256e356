#include "MiniCard.h"

#include "Kicker.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QVBoxLayout>

namespace vitrek {

namespace {

constexpr int kTitleGap = 8;
constexpr int kContentSpacing = 4;

} // namespace

MiniCard::MiniCard(const QString& title, QWidget* parent)
    : Card(parent), m_title(new Kicker(title, this)), m_content(new QVBoxLayout) {
    setCursor(Qt::PointingHandCursor);
    setFocusPolicy(Qt::StrongFocus);
    setAccessibleName(title);
    m_content->setContentsMargins(0, 0, 0, 0);
    m_content->setSpacing(kContentSpacing);
    auto* column = new QVBoxLayout(this);
    column->setSpacing(kTitleGap);
    column->addWidget(m_title);
    column->addLayout(m_content);
    column->addStretch();
}

void MiniCard::mousePressEvent(QMouseEvent* event) {
    // Accepting the press makes this card receive the release that completes the click.
    if (event->button() == Qt::LeftButton) {
        event->accept();
        return;
    }
    Card::mousePressEvent(event);
}

void MiniCard::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton && rect().contains(event->position().toPoint())) {
        event->accept();
        emit clicked();
        return;
    }
    Card::mouseReleaseEvent(event);
}

void MiniCard::keyPressEvent(QKeyEvent* event) {
    switch (event->key()) {
    case Qt::Key_Space:
    case Qt::Key_Return:
    case Qt::Key_Enter:
        event->accept();
        emit clicked();
        return;
    default:
        Card::keyPressEvent(event);
    }
}

} // namespace vitrek
