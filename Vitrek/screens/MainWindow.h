#pragma once

#include "ScreenTexts.h"

#include <QMainWindow>

#include <memory>

class QAction;
class QStackedWidget;

namespace vitrek {

class Store;

// The main window "Vitrek": the header with the model, date and streak, the two tab buttons, the Today
// and Health tabs, the toolbar and the menus. At least 820 × 700.
class MainWindow : public QMainWindow {
    Q_OBJECT

public:
    explicit MainWindow(Store& store, QWidget* parent = nullptr);
    ~MainWindow() override;

    Texts::Tab tab() const;
    void setTab(Texts::Tab tab);
    // Re-reads everything, colours included (after an appearance change).
    void refresh();

    QAction* refreshAction() const { return m_refresh; }
    QAction* shareAction() const { return m_share; }
    QAction* saveCardAction() const { return m_saveCard; }

signals:
    void settingsRequested();
    void quitRequested();
    // The user closed the window; its owner may let it go and build a new one when it opens again.
    void closed();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    struct Parts;
    void buildMenus();
    void refreshHeader();
    QWidget* buildHeader();

    Store& m_store;
    std::unique_ptr<Parts> m_parts; // child widgets belong to Qt
    QAction* m_refresh = nullptr;
    QAction* m_share = nullptr;
    QAction* m_saveCard = nullptr;
};

} // namespace vitrek
