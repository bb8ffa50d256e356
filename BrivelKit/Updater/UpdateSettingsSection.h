#pragma once

#include <QWidget>

class QCheckBox;
class QLabel;
class QTimer;

namespace brivel {

class Updater;

// The updates section of the program's Settings window: the version, the automatic-download toggle with
// its caption, and the status line with "Check Now". Without a feed there is nothing to download or check:
// the status line says where updates come from instead, in place of the toggle and the button.
class UpdateSettingsSection : public QWidget {
    Q_OBJECT

public:
    explicit UpdateSettingsSection(Updater& updater, QWidget* parent = nullptr);

private:
    void refresh();

    Updater& m_updater;
    QCheckBox* m_toggle = nullptr;
    QLabel* m_status = nullptr;
    // Keeps "Last checked …" current while the section is open.
    QTimer* m_clock = nullptr;
};

} // namespace brivel
