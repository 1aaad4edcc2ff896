#include "App/Desktop/DesktopCheckFacts.h"

#include "KeyboardShortcuts/KeyboardShortcuts.h"
#include "Overlay/HotkeyAction.h"
#include "Platform/FileDefaultsStore.h"
#include "Preferences/Preferences.h"
#include "Preferences/PreferencesFile.h"
#include "Preferences/PreferencesJson.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cstdio>
#include <unistd.h>

namespace mosaro {

namespace {

constexpr const char* serviceName = "tech.brenmark.mosaro";
constexpr const char* objectPath = "/tech/brenmark/mosaro";
constexpr const char* interfaceName = "tech.brenmark.mosaro";
constexpr int busTimeoutMs = 1000;

// The stored defaults as the running Mosaro reads them; the check only looks, so what the shortcut
// package would store (a name's default, on registering it) goes nowhere.
class ReadOnlyDefaults : public DefaultsStore {
public:
    std::optional<QVariant> object(const QString& key) const override { return m_file.object(key); }
    void setObject(const QString& /*key*/, const QVariant& /*value*/) override {}
    void removeObject(const QString& /*key*/) override {}

private:
    FileDefaultsStore m_file;
};

void readPreferences(DesktopFacts& facts)
{
    const QString path = preferencesFileURL();
    facts.preferencesPath = path;
    const QFileInfo info(path);
    const QDir folder = info.dir();
    for (const QString& entry : folder.entryList({info.fileName() + QStringLiteral("*")}, QDir::Files))
        if (entry != info.fileName())
            facts.keptAside << entry;
    QFile file(path);
    if (!file.exists()) {
        facts.preferences = DesktopFacts::PreferencesFile::missing;
        return;
    }
    if (!file.open(QIODevice::ReadOnly)) {
        facts.preferences = DesktopFacts::PreferencesFile::unreadable;
        facts.preferencesProblem = file.errorString();
        return;
    }
    // Read only: the check never migrates or rewrites anything.
    const QByteArray bytes = file.read(1 << 20);
    const auto probe = PreferencesJson::decodeProbe(bytes);
    if (!probe) {
        facts.preferences = DesktopFacts::PreferencesFile::unreadable;
        facts.preferencesProblem = toString(probe.error());
        return;
    }
    if (probe->schemaVersion > Preferences::currentSchemaVersion) {
        facts.preferences = DesktopFacts::PreferencesFile::newer;
    } else if (probe->schemaVersion < Preferences::currentSchemaVersion) {
        facts.preferences = DesktopFacts::PreferencesFile::older;
    } else if (const auto decoded = PreferencesJson::decode(bytes); decoded) {
        facts.preferences = DesktopFacts::PreferencesFile::loaded;
    } else {
        facts.preferences = DesktopFacts::PreferencesFile::unreadable;
        facts.preferencesProblem = toString(decoded.error());
    }
}

} // namespace

std::optional<RunningTrigger> askRunningMosaro(const QDBusConnection& bus)
{
    if (!bus.isConnected() || !bus.interface() ||
        !bus.interface()->isServiceRegistered(QString::fromLatin1(serviceName)).value())
        return std::nullopt;
    QDBusMessage call =
        QDBusMessage::createMethodCall(QString::fromLatin1(serviceName), QString::fromLatin1(objectPath),
                                       QString::fromLatin1(interfaceName), QStringLiteral("TriggerStatus"));
    // Asking whether Mosaro runs must not start one.
    call.setAutoStartService(false);
    const QDBusMessage reply = bus.call(call, QDBus::Block, busTimeoutMs);
    const QList<QVariant> args = reply.arguments();
    if (reply.type() != QDBusMessage::ReplyMessage || args.size() != 2 || args[0].typeId() != QMetaType::Bool ||
        args[1].typeId() != QMetaType::QString)
        return std::nullopt;
    return RunningTrigger{args[0].toBool(), args[1].toString()};
}

std::optional<KeyboardShortcuts::Shortcut> readStoredTrigger(DesktopFacts& facts, KeyboardLayout& layout)
{
    // The shortcut package reads the stored trigger; the layout names its key.
    static ReadOnlyDefaults defaults;
    KeyboardShortcuts::configure({&defaults, nullptr, &layout, nullptr});
    const KeyboardShortcuts::Name name = nameFor(HotkeyAction::trigger);
    std::optional<KeyboardShortcuts::Shortcut> trigger;
    const auto stored = defaults.object(KeyboardShortcuts::userDefaultsKey(name));
    if (!stored) {
        facts.storedTrigger = DesktopFacts::StoredTrigger::standard;
        trigger = name.defaultShortcut;
    } else if (stored->typeId() == QMetaType::Bool && !stored->toBool()) {
        facts.storedTrigger = DesktopFacts::StoredTrigger::disabled;
    } else if ((trigger = KeyboardShortcuts::getShortcut(name))) {
        facts.storedTrigger = DesktopFacts::StoredTrigger::recorded;
    } else {
        facts.storedTrigger = DesktopFacts::StoredTrigger::undecodable;
        facts.storedTriggerText = stored->toString().left(80);
    }
    if (trigger)
        facts.triggerText = trigger->description();
    return trigger;
}

void readSessionFacts(DesktopFacts& facts, const QDBusConnection& bus)
{
    if (const auto running = askRunningMosaro(bus)) {
        // A binding of the desktop's own says more than "another program holds it".
        if (running->grabbed)
            facts.triggerOwner = DesktopFacts::TriggerOwner::mosaro;
        else if (facts.triggerOwner != DesktopFacts::TriggerOwner::desktopBinding)
            facts.triggerOwner = DesktopFacts::TriggerOwner::mosaroWithoutGrab;
        if (!running->shortcut.isEmpty())
            facts.triggerText = running->shortcut;
    }
    if (bus.isConnected() && bus.interface() &&
        bus.interface()->isServiceRegistered(QStringLiteral("org.kde.StatusNotifierWatcher")).value())
        facts.tray = QStringLiteral("a StatusNotifierItem host");
    facts.sessionBus = bus.isConnected();
    facts.journal = ::access("/run/systemd/journal/socket", F_OK) == 0;
    readPreferences(facts);
}

int printFindings(const DesktopFacts& facts)
{
    const auto findings = desktopFindings(facts);
    std::fputs(qPrintable(formatFindings(findings)), stdout);
    std::fflush(stdout);
    return checkExitCode(findings);
}

} // namespace mosaro
