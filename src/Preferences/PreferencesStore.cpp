#include "Preferences/PreferencesStore.h"

#include "Diagnostics/Log/Log.h"
#include "Diagnostics/Log/LogMessages.h"

namespace mosaro {

PreferencesStore::PreferencesStore(Preferences initial, QString fileURL, QObject* parent)
    : QObject(parent), m_preferences(std::move(initial)), m_fileURL(std::move(fileURL))
{}

Preferences PreferencesStore::loadInitial(const QString& fileURL)
{
    return loadPreferences(fileURL).valueOr(Preferences::defaults());
}

void PreferencesStore::setPreferences(const Preferences& preferences)
{
    if (preferences != m_preferences) {
        m_preferences = preferences;
        Q_EMIT preferencesChanged();
    }
    persist();
}

void PreferencesStore::setProSettings(const ProSettings& proSettings)
{
    m_preferences.proSettings = proSettings;
    Q_EMIT preferencesChanged();
    persist();
}

void PreferencesStore::persist()
{
    if (m_isReloading)
        return;
    if (const auto saved = savePreferences(m_preferences, m_fileURL); !saved)
        Log::preferences().error(LogMessages::persistFailed, toString(saved.error()));
}

void PreferencesStore::reloadFromDisk()
{
    const Preferences loaded = loadInitial(m_fileURL);
    if (loaded == m_preferences)
        return;
    // The guard keeps the document just read from being written straight back.
    setReloading(true);
    setPreferences(loaded);
    setReloading(false);
}

void PreferencesStore::setReloading(bool reloading)
{
    if (reloading == m_isReloading)
        return;
    m_isReloading = reloading;
    Q_EMIT isReloadingChanged(reloading);
}

} // namespace mosaro
