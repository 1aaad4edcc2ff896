// preferences.json as the load reads it (probe, decode, migration, sanitising) and as a save
// judges what it is about to replace.

#include "FuzzInput.h"

#include "Diagnostics/Log/Log.h"
#include "Preferences/Migrations.h"
#include "Preferences/PreferencesFile.h"
#include "Preferences/PreferencesJson.h"

using namespace mosaro;

// NOLINTNEXTLINE(readability-identifier-naming): the name libFuzzer calls
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Log::Store::shared().clear();
    const QByteArray bytes(reinterpret_cast<const char*>(data), qsizetype(size));

    const InterpretedPreferences loaded = interpretPreferences(bytes);
    const StoredPreferences stored = classifyStoredPreferences(bytes);
    // What loads as version 2 is never copied aside, and what is copied aside as a migration
    // does migrate.
    if (stored.loadsAsCurrent)
        MOSARO_FUZZ_CHECK(loaded.result && !loaded.writeBack);
    if (stored.migratesFrom)
        MOSARO_FUZZ_CHECK(loaded.result && loaded.writeBack);

    if (loaded.result) {
        const Preferences& prefs = *loaded.result;
        // Everything a load hands out is within the limits, and reads back as written.
        MOSARO_FUZZ_CHECK(prefs == prefs.sanitized());
        const QByteArray encoded = PreferencesJson::encode(prefs);
        const auto decoded = PreferencesJson::decode(encoded);
        MOSARO_FUZZ_CHECK(decoded && *decoded == prefs);
        MOSARO_FUZZ_CHECK(classifyStoredPreferences(encoded).loadsAsCurrent);
    }
    (void)Migrations::V1::decode(bytes);
    return 0;
}
