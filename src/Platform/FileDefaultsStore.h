#pragma once

#include "Platform/DefaultsStore.h"
#include "Platform/Expected.h"

#include <QByteArray>
#include <QString>
#include <QVariantMap>

namespace mosaro {

// The defaults store kept as one JSON object in a file: read once at construction, rewritten
// atomically after every change. A file that does not load is left alone until the first
// change; every write that replaces such a file first keeps its bytes beside it as
// "defaults.json.bak-<UTC time>", never touching an earlier copy.
class FileDefaultsStore : public DefaultsStore {
public:
    explicit FileDefaultsStore(QString path = defaultPath());

    // "<config location>/Mosaro/defaults.json"
    static QString defaultPath();
    const QString& path() const { return m_path; }

    // The values a file's bytes hold, or why they hold none (not JSON, not an object).
    static Expected<QVariantMap, QString> parse(const QByteArray& bytes);

    std::optional<QVariant> object(const QString& key) const override;
    void setObject(const QString& key, const QVariant& value) override;
    void removeObject(const QString& key) override;

private:
    void load();
    void save();
    void keepWhatWillBeReplaced();

    QString m_path;
    QVariantMap m_values;
};

} // namespace mosaro
