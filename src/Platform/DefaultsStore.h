#pragma once

#include <QString>
#include <QVariant>
#include <optional>

namespace mosaro {

// The user-defaults store: a persistent map from text keys to booleans, numbers and texts.
class DefaultsStore {
public:
    virtual ~DefaultsStore() = default;

    // Whatever is stored under the key, or nothing.
    virtual std::optional<QVariant> object(const QString& key) const = 0;
    virtual void setObject(const QString& key, const QVariant& value) = 0;
    virtual void removeObject(const QString& key) = 0;

    // A stored text; numbers and booleans come back as their text form, anything else as nothing.
    std::optional<QString> string(const QString& key) const;
    // A stored boolean; a missing key or a value of another kind reads as false.
    bool boolean(const QString& key) const;
    void setBool(const QString& key, bool value) { setObject(key, QVariant(value)); }
};

} // namespace mosaro
