#include "shell/SingleInstance.h"

#include <unistd.h>

#include <QLocalServer>
#include <QLocalSocket>
#include <QtGlobal>
#include <utility>

namespace vitrek {

namespace {

// Long enough for a busy first instance to accept, short enough not to delay a start noticeably.
constexpr int kConnectMilliseconds = 300;
const QByteArray kShow = QByteArrayLiteral("show");

} // namespace

SingleInstance::SingleInstance(QString key, QObject* parent) : QObject(parent), m_key(std::move(key)) {}

SingleInstance::~SingleInstance() = default;

QString SingleInstance::defaultKey() {
    QString user = qEnvironmentVariable("USER");
    if (user.isEmpty()) {
        user = QString::number(::getuid());
    }
    return QStringLiteral("vitrek-") + user;
}

bool SingleInstance::claim() {
    if (m_server != nullptr) {
        return true;
    }
    {
        QLocalSocket socket;
        socket.connectToServer(m_key);
        if (socket.waitForConnected(kConnectMilliseconds)) {
            socket.write(kShow + '\n');
            socket.flush();
            socket.waitForBytesWritten(kConnectMilliseconds);
            socket.disconnectFromServer();
            return false;
        }
    }
    // Nobody answered, so a socket file left by a crashed instance would only block listening.
    QLocalServer::removeServer(m_key);
    m_server = new QLocalServer(this);
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    if (!m_server->listen(m_key)) {
        // Starting matters more than being alone: run on, only later starts will not find this one.
        qWarning("vitrek: cannot listen for other starts on %s: %s", qPrintable(m_key),
                 qPrintable(m_server->errorString()));
        delete m_server;
        m_server = nullptr;
        return true;
    }
    connect(m_server, &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket* connection = m_server->nextPendingConnection()) {
            const auto readRequest = [this, connection] {
                while (connection->canReadLine()) {
                    if (connection->readLine().trimmed() == kShow) {
                        emit activated();
                    }
                }
            };
            connect(connection, &QLocalSocket::readyRead, this, readRequest);
            connect(connection, &QLocalSocket::disconnected, connection, &QObject::deleteLater);
            // The request may have arrived before the connection was taken.
            readRequest();
        }
    });
    return true;
}

} // namespace vitrek
