#include "Platform/Linux/XdgAutostartLoginItemService.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>
#include <QTextStream>

namespace mosaro {

namespace {

constexpr const char* kEntryName = "mosaro.desktop";

// The first existing ancestor of a path that is not a folder, when there is one: the usual
// reason a folder cannot be made.
QString blockingFile(const QString& folder)
{
    QString path = QDir::cleanPath(folder);
    while (!path.isEmpty() && path != QLatin1String("/")) {
        const QFileInfo info(path);
        if (info.exists())
            return info.isDir() ? QString() : path;
        path = info.path();
    }
    return {};
}

// The value of a key in the [Desktop Entry] group, as the file says it; empty when absent.
QString desktopEntryValue(const QString& text, const QString& key)
{
    bool inMainGroup = false;
    for (const QString& raw : text.split(QLatin1Char('\n'))) {
        const QString line = raw.trimmed();
        if (line.startsWith(QLatin1Char('['))) {
            inMainGroup = line == QLatin1String("[Desktop Entry]");
            continue;
        }
        if (!inMainGroup || line.startsWith(QLatin1Char('#')))
            continue;
        const auto eq = line.indexOf(QLatin1Char('='));
        if (eq > 0 && line.left(eq).trimmed() == key)
            return line.mid(eq + 1).trimmed();
    }
    return {};
}

} // namespace

QString desktopEntryExecValue(const QString& programPath)
{
    static const QString reserved = QStringLiteral(" \t\n\"'\\><~|&;$*?#()`");
    bool needsQuotes = false;
    for (const QChar c : programPath)
        needsQuotes = needsQuotes || reserved.contains(c);
    QString value = programPath;
    if (needsQuotes) {
        // Inside quotes ", `, $ and \ are escaped with a backslash; the string value then escapes
        // every backslash once more.
        QString quoted;
        for (const QChar c : programPath) {
            if (c == QLatin1Char('"') || c == QLatin1Char('`') || c == QLatin1Char('$') || c == QLatin1Char('\\'))
                quoted += QLatin1Char('\\');
            quoted += c;
        }
        value = QLatin1Char('"') + quoted + QLatin1Char('"');
    }
    value.replace(QLatin1Char('\\'), QStringLiteral("\\\\"));
    return value;
}

XdgAutostartLoginItemService::XdgAutostartLoginItemService()
    : XdgAutostartLoginItemService(QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
                                       QStringLiteral("/autostart"),
                                   QCoreApplication::applicationFilePath())
{}

XdgAutostartLoginItemService::XdgAutostartLoginItemService(QString autostartFolder, QString executablePath)
    : m_folder(std::move(autostartFolder)), m_executable(std::move(executablePath))
{}

QString XdgAutostartLoginItemService::entryPath() const
{
    return m_folder + QLatin1Char('/') + QLatin1String(kEntryName);
}

QString XdgAutostartLoginItemService::entryText() const
{
    return QStringLiteral("[Desktop Entry]\n"
                          "Type=Application\n"
                          "Name=Mosaro\n"
                          "Comment=Keyboard-driven window tiler\n"
                          "Exec=%1\n"
                          "Icon=tech.brenmark.mosaro\n"
                          "Terminal=false\n"
                          "X-GNOME-Autostart-enabled=true\n")
        .arg(desktopEntryExecValue(m_executable));
}

Status<QString> XdgAutostartLoginItemService::registerApp()
{
    if (!QDir().mkpath(m_folder)) {
        const QString file = blockingFile(m_folder);
        return unexpected(
            file.isEmpty()
                ? QStringLiteral("cannot create the autostart folder %1").arg(m_folder)
                : QStringLiteral("cannot create the autostart folder %1: %2 is not a folder").arg(m_folder, file));
    }
    // Written whole or not at all: a half-written entry could start something else at login.
    QSaveFile out(entryPath());
    if (!out.open(QIODevice::WriteOnly | QIODevice::Text))
        return unexpected(QStringLiteral("cannot write %1: %2").arg(entryPath(), out.errorString()));
    const QByteArray bytes = entryText().toUtf8();
    if (out.write(bytes) != bytes.size() || !out.commit())
        return unexpected(QStringLiteral("cannot write %1: %2").arg(entryPath(), out.errorString()));
    return Ok{};
}

Status<QString> XdgAutostartLoginItemService::unregisterApp()
{
    QFile entry(entryPath());
    if (!entry.exists())
        return Ok{};
    if (!entry.remove())
        return unexpected(QStringLiteral("cannot remove %1: %2").arg(entryPath(), entry.errorString()));
    return Ok{};
}

LoginItemService::RegistrationStatus XdgAutostartLoginItemService::status() const
{
    QFile entry(entryPath());
    if (!entry.open(QIODevice::ReadOnly | QIODevice::Text))
        return RegistrationStatus::notRegistered;
    const QString text = QString::fromUtf8(entry.readAll());
    if (desktopEntryValue(text, QStringLiteral("Hidden")).compare(QLatin1String("true"), Qt::CaseInsensitive) == 0)
        return RegistrationStatus::notRegistered;
    if (desktopEntryValue(text, QStringLiteral("X-GNOME-Autostart-enabled"))
            .compare(QLatin1String("false"), Qt::CaseInsensitive) == 0)
        return RegistrationStatus::notRegistered;
    return RegistrationStatus::enabled;
}

} // namespace mosaro
