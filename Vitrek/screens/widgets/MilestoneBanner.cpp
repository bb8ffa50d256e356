#include "MilestoneBanner.h"

#include "Kicker.h"
#include "history/Milestone.h"
#include "screens/ScreenTexts.h"
#include "screens/Symbols.h"
#include "screens/Theme.h"

#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QPaintEvent>
#include <QPainter>
#include <QToolButton>
#include <QVBoxLayout>

namespace vitrek {

namespace {

constexpr int kCircle = 48;
constexpr int kFlame = 26;
constexpr qreal kCircleOpacity = 0.16;
constexpr int kCloseSymbol = 12;
constexpr int kColumnGap = 14;
constexpr int kLineGap = 3;

// The flame in its tinted circle.
class FlameBadge : public QWidget {
public:
    explicit FlameBadge(QWidget* parent) : QWidget(parent) { setFixedSize(kCircle, kCircle); }

protected:
    void paintEvent(QPaintEvent* /*event*/) override {
        QPainter painter{this};
        painter.setRenderHint(QPainter::Antialiasing);
        QColor fill = Theme::flame();
        fill.setAlphaF(kCircleOpacity);
        painter.setPen(Qt::NoPen);
        painter.setBrush(fill);
        painter.drawEllipse(QRectF{rect()});
        const QPointF centre = QRectF{rect()}.center();
        const QRectF symbol{centre.x() - kFlame / 2.0, centre.y() - kFlame / 2.0, kFlame, kFlame};
        Symbols::paint(painter, QStringLiteral("flame.fill"), symbol, Theme::flame());
    }
};

void setTextColor(QLabel* label, const QColor& color) {
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, color);
    label->setPalette(palette);
}

} // namespace

MilestoneBanner::MilestoneBanner(QWidget* parent)
    : Card(parent), m_flame(new FlameBadge(this)),
      m_kicker(new Kicker(QString::fromUtf8(Texts::kMilestoneKicker), this)), m_title(new QLabel(this)),
      m_detail(new QLabel(this)), m_close(new QToolButton(this)) {
    m_title->setFont(Fonts::title());
    m_detail->setFont(Fonts::body());
    m_detail->setWordWrap(true);
    m_title->setTextFormat(Qt::PlainText);
    m_detail->setTextFormat(Qt::PlainText);

    m_close->setAutoRaise(true);
    m_close->setCursor(Qt::PointingHandCursor);
    m_close->setToolTip(QString::fromUtf8(Texts::kMilestoneCloseHelp));
    m_close->setAccessibleName(QStringLiteral("Hide this milestone"));
    m_close->setIconSize(QSize{kCloseSymbol, kCloseSymbol});
    connect(m_close, &QToolButton::clicked, this, &MilestoneBanner::closeRequested);

    auto* text = new QVBoxLayout;
    text->setSpacing(kLineGap);
    text->addWidget(m_kicker);
    text->addWidget(m_title);
    text->addWidget(m_detail);

    auto* row = new QHBoxLayout(this);
    row->setSpacing(kColumnGap);
    row->addWidget(m_flame, 0, Qt::AlignTop);
    row->addLayout(text, 1);
    row->addWidget(m_close, 0, Qt::AlignTop);

    refreshColors();
}

void MilestoneBanner::setMilestone(int reached, int streak) {
    m_title->setText(QString::fromStdString(Milestone::title(reached)));
    m_detail->setText(QString::fromStdString(Texts::milestoneDetail(streak)));
}

void MilestoneBanner::refreshColors() {
    setTextColor(m_title, Theme::color(Theme::Role::ink));
    setTextColor(m_detail, Theme::color(Theme::Role::ink2));
    QIcon icon;
    const QColor symbol = Theme::color(Theme::Role::ink3);
    for (const qreal ratio : {1.0, 1.5, 2.0}) {
        icon.addPixmap(Symbols::pixmap(QStringLiteral("xmark"), symbol, kCloseSymbol, ratio));
    }
    m_close->setIcon(icon);
    update();
    m_flame->update();
    m_kicker->update();
}

QString MilestoneBanner::title() const { return m_title->text(); }

QString MilestoneBanner::detail() const { return m_detail->text(); }

} // namespace vitrek
