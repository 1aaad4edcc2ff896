#pragma once

#include "Platform/DefaultsStore.h"

#include <QString>
#include <QVariantMap>

namespace mosaro {

// The defaults store kept as one JSON object in a file: read once at construction, rewritten
// atomically after every change. A corrupt file is left alone until the first change, which
// first saves a copy of it next to the original with ".corrupt" appended.
class FileDefaultsStore : public DefaultsStore {
public:
    explicit FileDefaultsStore(QString path = defaultPath());

    // "<config location>/Mosaro/defaults.json"
    static QString defaultPath();
    const QString& path() const { return m_path; }

    std::optional<QVariant> object(const QString& key) const override;
    void setObject(const QString& key, const QVariant& value) override;
    void removeObject(const QString& key) override;

private:
    void load();
    void save();

    QString m_path;
    QVariantMap m_values;
    bool m_keepCorruptCopy = false;
};

} // namespace mosaro
