#pragma once

#include "Platform/Expected.h"
#include "Preferences/Preferences.h"
#include "Preferences/PreferencesFile.h"

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <cstdint>
#include <optional>

namespace mosaro {

// Read first, to learn the version before the whole document is decoded.
struct SchemaProbe {
    std::int64_t schemaVersion = 0;
};

namespace PreferencesJson {

// Pretty-printed with sorted keys, two-space indentation and " : " separators; no trailing newline.
QByteArray encode(const Preferences& prefs);

// Strict: every required key present with its exact JSON type; unknown keys ignored.
Expected<Preferences, PreferencesError> decode(const QByteArray& bytes);

// Needs a top-level object with an integer schemaVersion.
Expected<SchemaProbe, PreferencesError> decodeProbe(const QByteArray& bytes);

// Strict field reads over a parsed object. The first failure is kept and later reads return
// placeholders, so a decoder reads every field and checks `error` once at the end.
class Reader {
public:
    std::optional<PreferencesError> error;

    // The bytes as a top-level JSON object.
    std::optional<QJsonObject> parse(const QByteArray& bytes);

    std::int64_t integer(const QJsonObject& object, const QString& key, const QString& path = {});
    bool boolean(const QJsonObject& object, const QString& key, const QString& path = {});
    // Missing or null is absent; anything but a string is an error.
    std::optional<QString> optionalText(const QJsonObject& object, const QString& key, const QString& path = {});
    QJsonObject object(const QJsonObject& object, const QString& key, const QString& path = {});

private:
    void fail(const QString& what);
};

} // namespace PreferencesJson
} // namespace mosaro
