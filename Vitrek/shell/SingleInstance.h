#pragma once

#include <QObject>
#include <QString>

class QLocalServer;

namespace vitrek {

// One running program per user: the first claims a local socket; a later start hands over to it (which
// then raises its window) and exits.
class SingleInstance : public QObject {
    Q_OBJECT

public:
    // `key` names the socket; the default is per user.
    explicit SingleInstance(QString key = defaultKey(), QObject* parent = nullptr);
    ~SingleInstance() override;

    // True when this process is now the one instance. False when another answered: it has been asked to
    // show itself, and this process should exit.
    bool claim();

    static QString defaultKey();

signals:
    // Another start asked this instance to show itself.
    void activated();

private:
    QString m_key;
    QLocalServer* m_server = nullptr;
};

} // namespace vitrek
