#pragma once

#include "Preferences/Preferences.h"
#include "Preferences/PreferencesFile.h"

#include <QObject>
#include <QString>

namespace mosaro {

// The live copy of the preferences document that the settings window edits. Every write through
// it is saved at once; a reload after someone else rewrote the file is not written back.
class PreferencesStore : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isReloading READ isReloading NOTIFY isReloadingChanged)

public:
    // Writes nothing. The path is where every save goes and every reload reads from.
    explicit PreferencesStore(Preferences initial, QString fileURL = preferencesFileURL(), QObject* parent = nullptr);

    // The document in the file, or the defaults when it cannot be read (the reason is dropped).
    static Preferences loadInitial(const QString& fileURL = preferencesFileURL());

    const Preferences& preferences() const { return m_preferences; }
    // Observers hear of a different value only; the file is written either way.
    void setPreferences(const Preferences& preferences);

    const ProSettings& proSettings() const { return m_preferences.proSettings; }
    // Always heard by observers of the document, even when equal; always written.
    void setProSettings(const ProSettings& proSettings);

    bool isReloading() const { return m_isReloading; }

    // Takes the file's document (or the defaults when it cannot be read) without writing it back.
    void reloadFromDisk();
    // Saves the document unless a reload is assigning it; a failure is logged and kept in memory.
    void persist();

    const QString& fileURL() const { return m_fileURL; }

Q_SIGNALS:
    void preferencesChanged();
    void isReloadingChanged(bool isReloading);

private:
    void setReloading(bool reloading);

    Preferences m_preferences;
    QString m_fileURL;
    bool m_isReloading = false;
};

} // namespace mosaro
