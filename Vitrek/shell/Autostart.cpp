#include "shell/Autostart.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStringList>
#include <QTextStream>
#include <algorithm>

namespace vitrek::Autostart {

namespace {

// Characters that oblige a desktop entry's Exec argument to be quoted.
const QString kReserved = QStringLiteral(" \t\n\"'\\><~|&;$*?#()`");

// One Exec argument, quoted when it holds a reserved character; inside quotes ", `, $ and \ take a
// backslash. Then the escapes every string value takes: % is a field code's start, and \ and a line break
// have their own forms.
QString execArgument(const QString& argument) {
    QString text = argument;
    if (std::any_of(argument.begin(), argument.end(), [](QChar c) { return kReserved.contains(c); })) {
        text.clear();
        for (const QChar c : argument) {
            if (c == u'"' || c == u'`' || c == u'$' || c == u'\\') {
                text += u'\\';
            }
            text += c;
        }
        text = u'"' + text + u'"';
    }
    text.replace(u'%', QStringLiteral("%%"));
    text.replace(u'\\', QStringLiteral("\\\\"));
    text.replace(u'\n', QStringLiteral("\\n"));
    return text;
}

} // namespace

QString entryPath() {
    QString config = qEnvironmentVariable("XDG_CONFIG_HOME");
    if (config.isEmpty() || QDir::isRelativePath(config)) {
        config = QDir::homePath() + QStringLiteral("/.config");
    }
    return config + QStringLiteral("/autostart/vitrek.desktop");
}

bool isEnabled() {
    QFile file(entryPath());
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        return false;
    }
    QTextStream in(&file);
    bool inEntry = false;
    QString line;
    while (in.readLineInto(&line)) {
        line = line.trimmed();
        if (line.startsWith(u'[')) {
            inEntry = line == QStringLiteral("[Desktop Entry]");
            continue;
        }
        const auto equals = line.indexOf(u'=');
        if (inEntry && equals > 0 && line.left(equals).trimmed() == QStringLiteral("Hidden") &&
            line.mid(equals + 1).trimmed() == QStringLiteral("true")) {
            return false;
        }
    }
    return true;
}

bool enable(const QString& executable) {
    const QString path = entryPath();
    if (!QDir().mkpath(QFileInfo(path).absolutePath())) {
        return false;
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Text)) {
        return false;
    }
    const QByteArray text = entryText(executable).toUtf8();
    if (file.write(text) != text.size()) {
        file.cancelWriting();
        return false;
    }
    return file.commit();
}

bool disable() {
    const QString path = entryPath();
    QFile::remove(path);
    const QFileInfo left(path);
    return !left.exists() && !left.isSymLink();
}

QString entryText(const QString& executable) {
    const QStringList lines = {
        QStringLiteral("[Desktop Entry]"),
        QStringLiteral("Type=Application"),
        QStringLiteral("Name=Vitrek"),
        QStringLiteral("Comment=Daily check-up of this computer"),
        QStringLiteral("Exec=") + execArgument(executable),
        QStringLiteral("Icon=vitrek"),
        QStringLiteral("Terminal=false"),
        QStringLiteral("X-GNOME-Autostart-enabled=true"),
    };
    return lines.join(u'\n') + u'\n';
}

} // namespace vitrek::Autostart
