#include "Updater/UpdateView.h"

#include "Updater/UpdateTexts.h"
#include "Updater/Updater.h"
#include "Window/WindowHost.h"

#include <QApplication>
#include <QDesktopServices>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QShortcut>
#include <QStyle>
#include <QVBoxLayout>

namespace brivel {

namespace {

constexpr int kIconSize = 64;
constexpr int kMargin = 20;
constexpr int kSpacing = 12;
constexpr int kProgressSteps = 1000;
constexpr const char* kWindowId = "update";
// The system orange, for the hint that this copy can't update itself.
const QColor kWarning{0xFF, 0x95, 0x00};

QColor secondaryColour(const QPalette& palette) { return palette.color(QPalette::PlaceholderText); }

// Removes every item of `layout`. Widgets go later, not now: the button being clicked may be among them.
void clear(QLayout* layout) {
    while (auto* item = layout->takeAt(0)) {
        if (auto* widget = item->widget()) {
            widget->hide();
            widget->deleteLater();
        }
        delete item;
    }
}

// QIcon never scales a pixmap up, and the standard icons are smaller than the window's icon size.
QPixmap iconPixmap(const QIcon& icon, qreal ratio) {
    auto pixmap = icon.pixmap(QSize(kIconSize, kIconSize), ratio);
    const auto wanted = qRound(kIconSize * ratio);
    if (!pixmap.isNull() && pixmap.width() < wanted) {
        pixmap = pixmap.scaled(wanted, wanted, Qt::KeepAspectRatio, Qt::SmoothTransformation);
        pixmap.setDevicePixelRatio(ratio);
    }
    return pixmap;
}

QLabel* lineLabel(const UpdateTexts::Line& line, const QPalette& palette) {
    auto* label = new QLabel(QString::fromStdString(line.text));
    label->setWordWrap(true);
    label->setAlignment(Qt::AlignHCenter | Qt::AlignTop);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    if (line.style != UpdateTexts::Line::Style::body) {
        auto colours = label->palette();
        colours.setColor(QPalette::WindowText, line.style == UpdateTexts::Line::Style::warning
                                                   ? kWarning
                                                   : secondaryColour(palette));
        label->setPalette(colours);
    }
    return label;
}

QProgressBar* progressBar(int value, int maximum) {
    auto* bar = new QProgressBar;
    bar->setRange(0, maximum);
    bar->setValue(value);
    bar->setTextVisible(false);
    return bar;
}

} // namespace

UpdateView::UpdateView(Updater& updater, QWidget* parent) : QWidget(parent), m_updater(updater) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
    layout->setSpacing(kSpacing);

    m_icon = new QLabel;
    auto icon = QApplication::windowIcon();
    if (icon.isNull()) {
        icon = style()->standardIcon(QStyle::SP_MessageBoxInformation);
    }
    m_icon->setPixmap(iconPixmap(icon, devicePixelRatioF()));
    m_icon->setAlignment(Qt::AlignCenter);
    layout->addWidget(m_icon);

    m_title = new QLabel;
    auto titleFont = m_title->font();
    titleFont.setBold(true);
    titleFont.setPointSizeF(titleFont.pointSizeF() * 1.2);
    m_title->setFont(titleFont);
    m_title->setWordWrap(true);
    m_title->setAlignment(Qt::AlignCenter);
    layout->addWidget(m_title);

    m_detail = new QVBoxLayout;
    m_detail->setSpacing(kSpacing / 2);
    layout->addLayout(m_detail);

    m_buttons = new QHBoxLayout;
    layout->addSpacing(kSpacing / 2);
    layout->addLayout(m_buttons);

    // Push buttons act as a window's default only inside dialogs, so Return is wired here.
    for (const auto key : {Qt::Key_Return, Qt::Key_Enter}) {
        auto* shortcut = new QShortcut(QKeySequence(key), this);
        connect(shortcut, &QShortcut::activated, this, [this] {
            for (auto* button : findChildren<QPushButton*>()) {
                if (button->isDefault() && button->isVisible()) {
                    button->click();
                    return;
                }
            }
        });
    }

    connect(&m_updater, &Updater::phaseChanged, this, &UpdateView::refresh);
    refresh();
}

void UpdateView::showWindow(Updater& updater) {
    WindowHost::show(kWindowId, "Software Update", 420, [&updater] { return new UpdateView(updater); });
}

void UpdateView::showEvent(QShowEvent* event) {
    m_updater.setWindowOpen(true);
    QWidget::showEvent(event);
}

void UpdateView::hideEvent(QHideEvent* event) {
    m_updater.setWindowOpen(false);
    QWidget::hideEvent(event);
}

void UpdateView::refresh() {
    const UpdateTexts::Context context{m_updater.appName(), m_updater.currentVersion(),
                                       m_updater.canInstallInPlace(), m_updater.publicKey().has_value(),
                                       m_updater.source()};
    const auto shown = UpdateTexts::window(m_updater.phase(), context);

    m_title->setText(QString::fromStdString(shown.title));

    clear(m_detail);
    switch (shown.detail) {
    case UpdateTexts::Detail::spinner:
        // An empty range makes the bar a busy indicator.
        m_detail->addWidget(progressBar(0, 0));
        break;
    case UpdateTexts::Detail::progress:
        m_detail->addWidget(progressBar(static_cast<int>(shown.fraction * kProgressSteps), kProgressSteps));
        break;
    case UpdateTexts::Detail::lines:
        for (const auto& line : shown.lines) {
            m_detail->addWidget(lineLabel(line, palette()));
        }
        break;
    }

    clear(m_buttons);
    m_buttons->addStretch();
    for (std::size_t index = 0; index < shown.buttons.size(); ++index) {
        const auto& button = shown.buttons[index];
        // "&" would mark a mnemonic ("Download & Install").
        auto* push = new QPushButton(QString::fromStdString(button.label).replace("&", "&&"));
        push->setDefault(index + 1 == shown.buttons.size());
        push->setAutoDefault(false);
        connect(push, &QPushButton::clicked, this,
                [this, action = button.action] { perform(static_cast<int>(action)); });
        m_buttons->addWidget(push);
    }
}

void UpdateView::perform(int action) {
    const auto& phase = m_updater.phase();
    switch (static_cast<UpdateTexts::Action>(action)) {
    case UpdateTexts::Action::close:
        WindowHost::close(kWindowId);
        break;
    case UpdateTexts::Action::downloadAndInstall:
        if (phase.feed) {
            const auto feed = *phase.feed; // the download replaces the phase that holds it
            m_updater.download(feed);
        }
        break;
    case UpdateTexts::Action::openDownloadPage:
        if (phase.feed) {
            QDesktopServices::openUrl(QUrl(QString::fromStdString(phase.feed->url)));
        }
        WindowHost::close(kWindowId);
        break;
    case UpdateTexts::Action::restartNow:
        m_updater.installAndRelaunch();
        break;
    }
}

} // namespace brivel
