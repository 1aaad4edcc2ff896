#include "Platform/Wayland/Gnome/GnomeExtension.h"

#include "Diagnostics/Log/Log.h"
#include "Platform/FileReplacement.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStandardPaths>

namespace mosaro::Gnome {

namespace {

constexpr const char* installedMessage = "installed Mosaro's GNOME Shell extension (%{public}s) in %{public}s";
constexpr const char* gsettingsMessage = "gsettings %{public}s failed: %{public}s";
// The files of a variant; metadata.json goes last, so a copy cut short reads as another version.
constexpr const char* variantFiles[] = {"extension.js", "mosaro.js", "tech.brenmark.mosaro.Shell.xml", "metadata.json"};
constexpr int gsettingsTimeoutMs = 1000;
constexpr qint64 metadataLimit = qint64(64) * 1024;

Expected<QString, QString> gsettings(const QStringList& arguments)
{
    QProcess process;
    process.start(QStringLiteral("gsettings"), arguments);
    if (!process.waitForFinished(gsettingsTimeoutMs) || process.exitStatus() != QProcess::NormalExit ||
        process.exitCode() != 0) {
        const QString why = process.error() == QProcess::FailedToStart
                                ? QStringLiteral("gsettings is not installed")
                                : QString::fromLocal8Bit(process.readAllStandardError()).trimmed();
        process.kill();
        process.waitForFinished(gsettingsTimeoutMs);
        Log::permission().error(gsettingsMessage, arguments.join(QLatin1Char(' ')), why);
        return unexpected(why.isEmpty() ? QStringLiteral("gsettings failed") : why);
    }
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

// Reads a list key, changes it and writes it back when it changed.
Expected<Ok, QString> editList(const char* key, const std::function<void(QStringList&)>& change)
{
    const QString schema = QStringLiteral("org.gnome.shell");
    const auto current = gsettings({QStringLiteral("get"), schema, QLatin1String(key)});
    if (!current)
        return unexpected(current.error());
    auto list = parseStringList(*current);
    if (!list)
        return unexpected(QStringLiteral("%1 holds %2").arg(QLatin1String(key), current->left(80)));
    const QStringList before = *list;
    change(*list);
    if (*list == before)
        return Ok{};
    const auto written = gsettings({QStringLiteral("set"), schema, QLatin1String(key), formatStringList(*list)});
    if (!written)
        return unexpected(written.error());
    return Ok{};
}

} // namespace

QString describe(ExtensionState state)
{
    switch (state) {
    case ExtensionState::enabled:
        return QStringLiteral("enabled");
    case ExtensionState::notInstalled:
        return QStringLiteral("not installed");
    case ExtensionState::disabled:
        return QStringLiteral("installed but disabled");
    case ExtensionState::userExtensionsOff:
        return QStringLiteral("user extensions switched off");
    case ExtensionState::otherVersion:
        return QStringLiteral("another version");
    case ExtensionState::waitingForLogIn:
        return QStringLiteral("installed, waiting for a log-in");
    case ExtensionState::failed:
        return QStringLiteral("failed to load");
    }
    return {};
}

HostText advice(ExtensionState state)
{
    switch (state) {
    case ExtensionState::enabled:
        return HostText::gnomeExtensionEnabled;
    case ExtensionState::notInstalled:
        return HostText::gnomeExtensionNotInstalled;
    case ExtensionState::disabled:
        return HostText::gnomeExtensionDisabled;
    case ExtensionState::userExtensionsOff:
        return HostText::gnomeUserExtensionsOff;
    case ExtensionState::otherVersion:
        return HostText::gnomeExtensionOtherVersion;
    case ExtensionState::waitingForLogIn:
        return HostText::gnomeExtensionWaitingForLogIn;
    case ExtensionState::failed:
        return HostText::gnomeExtensionFailed;
    }
    return HostText::gnomeExtensionNotInstalled;
}

ExtensionState extensionState(const ExtensionFacts& f)
{
    if (f.answeredVersion && *f.answeredVersion == f.mosaroVersion)
        return ExtensionState::enabled;
    if (!f.installed)
        return f.answeredVersion ? ExtensionState::otherVersion : ExtensionState::notInstalled;
    if (!f.userExtensionsEnabled)
        return ExtensionState::userExtensionsOff;
    if (f.installedVersion != f.mosaroVersion || !f.installedFitsShell)
        return ExtensionState::otherVersion;
    // The copy on disk is ours; the Shell runs an older one, judged an older one, or has not read it.
    if (f.answeredVersion || !f.shellState || *f.shellState == 4)
        return ExtensionState::waitingForLogIn;
    if (*f.shellState == 3 || *f.shellState == 1)
        return ExtensionState::failed;
    return ExtensionState::disabled;
}

std::optional<int> shellMajor(const QString& shellVersion)
{
    bool ok = false;
    const int major = shellVersion.section(QLatin1Char('.'), 0, 0).toInt(&ok);
    return ok && major > 0 ? std::optional<int>(major) : std::nullopt;
}

QString variantFor(int major)
{
    return major < 45 ? QStringLiteral("script") : QStringLiteral("module");
}

std::optional<InstalledCopy> readInstalledCopy(const QString& folder)
{
    QFile file(folder + QStringLiteral("/metadata.json"));
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    InstalledCopy copy;
    const QJsonObject metadata = QJsonDocument::fromJson(file.read(metadataLimit)).object();
    copy.version = metadata.value(QStringLiteral("version-name")).toString();
    for (const auto& shell : metadata.value(QStringLiteral("shell-version")).toArray())
        copy.shellVersions << shell.toString();
    return copy;
}

QString userExtensionFolder()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
           QStringLiteral("/gnome-shell/extensions/") + QLatin1String(extensionUuid);
}

QString shippedExtensionsFolder()
{
    const QString uuid = QLatin1String(extensionUuid);
    QStringList candidates{QCoreApplication::applicationDirPath() + QStringLiteral("/../share/mosaro/gnome-shell")};
#ifdef MOSARO_GNOME_EXTENSION_BUILD_DIR
    candidates << QStringLiteral(MOSARO_GNOME_EXTENSION_BUILD_DIR);
#endif
    for (const QString& dir : QStandardPaths::standardLocations(QStandardPaths::GenericDataLocation))
        candidates << dir + QStringLiteral("/mosaro/gnome-shell");
    for (const QString& candidate : candidates) {
        if (QFileInfo::exists(candidate + QStringLiteral("/script/") + uuid + QStringLiteral("/metadata.json")))
            return QDir::cleanPath(candidate);
    }
    return {};
}

Expected<Ok, QString> installExtension(const QString& shipped, int major, const QString& destination,
                                       const QString& mosaroVersion)
{
    if (const auto copy = readInstalledCopy(destination);
        copy && copy->version == mosaroVersion && copy->shellVersions.contains(QString::number(major)))
        return Ok{};
    if (shipped.isEmpty())
        return unexpected(QStringLiteral("this Mosaro came without its GNOME Shell extension"));
    const QString source =
        shipped + QLatin1Char('/') + variantFor(major) + QLatin1Char('/') + QLatin1String(extensionUuid);
    if (const auto made = FileReplacement::makeFolders(destination); !made)
        return unexpected(made.error().description());
    for (const char* name : variantFiles) {
        QFile file(source + QLatin1Char('/') + QLatin1String(name));
        if (!file.open(QIODevice::ReadOnly))
            return unexpected(QStringLiteral("could not read %1: %2").arg(file.fileName(), file.errorString()));
        const auto written =
            FileReplacement::replaceAtomically(destination + QLatin1Char('/') + QLatin1String(name), file.readAll());
        if (!written)
            return unexpected(written.error().description());
    }
    Log::permission().info(installedMessage, variantFor(major), destination);
    return Ok{};
}

std::optional<QStringList> parseStringList(const QString& text)
{
    QString rest = text.trimmed();
    if (rest.startsWith(QLatin1String("@as")))
        rest = rest.mid(3).trimmed();
    if (!rest.startsWith(QLatin1Char('[')) || !rest.endsWith(QLatin1Char(']')))
        return std::nullopt;
    QStringList list;
    qsizetype i = 1;
    const qsizetype end = rest.size() - 1;
    while (true) {
        while (i < end && (rest[i] == QLatin1Char(' ') || rest[i] == QLatin1Char(',')))
            ++i;
        if (i >= end)
            return list;
        const QChar quote = rest[i];
        if (quote != QLatin1Char('\'') && quote != QLatin1Char('"'))
            return std::nullopt;
        QString item;
        for (++i; i < end && rest[i] != quote; ++i) {
            if (rest[i] == QLatin1Char('\\') && i + 1 < end)
                ++i;
            item += rest[i];
        }
        if (i >= end)
            return std::nullopt;
        ++i;
        list << item;
    }
}

QString formatStringList(const QStringList& list)
{
    QStringList quoted;
    for (QString item : list) {
        item.replace(QLatin1Char('\\'), QLatin1String("\\\\")).replace(QLatin1Char('\''), QLatin1String("\\'"));
        quoted << QLatin1Char('\'') + item + QLatin1Char('\'');
    }
    return QLatin1Char('[') + quoted.join(QLatin1String(", ")) + QLatin1Char(']');
}

Expected<Ok, QString> enableAtLogIn(const QString& uuid)
{
    auto enabled = editList("enabled-extensions", [&](QStringList& list) {
        if (!list.contains(uuid))
            list << uuid;
    });
    if (!enabled)
        return enabled;
    return editList("disabled-extensions", [&](QStringList& list) { list.removeAll(uuid); });
}

} // namespace mosaro::Gnome
