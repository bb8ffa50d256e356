#pragma once

#include <QWidget>

class QLabel;
class QProgressBar;
class QHBoxLayout;
class QVBoxLayout;

namespace brivel {

class Updater;

// The "Software Update" window's content: the program's icon, the title, the detail and the buttons of the
// updater's phase (UpdateTexts::window), rebuilt whenever the phase changes.
class UpdateView : public QWidget {
    Q_OBJECT

public:
    explicit UpdateView(Updater& updater, QWidget* parent = nullptr);

    // Opens (or raises) the update window, identifier "update", title "Software Update", 420 wide.
    static void showWindow(Updater& updater);

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void refresh();
    void perform(int action);

    Updater& m_updater;
    QLabel* m_icon = nullptr;
    QLabel* m_title = nullptr;
    QVBoxLayout* m_detail = nullptr;
    QHBoxLayout* m_buttons = nullptr;
};

} // namespace brivel
