#include "Platform/FileDefaultsStore.h"

#include "Diagnostics/Log.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
#include <QSaveFile>
#include <QStandardPaths>
#include <cmath>

namespace mosaro {

namespace {

// JSON has one number type; whole numbers come back as integers, the rest as doubles.
QVariant fromJson(const QJsonValue& value)
{
    if (value.isDouble()) {
        const double d = value.toDouble();
        if (std::isfinite(d) && d == std::trunc(d) && std::abs(d) < 9007199254740992.0)
            return QVariant(qint64(d));
        return QVariant(d);
    }
    return value.toVariant();
}

} // namespace

FileDefaultsStore::FileDefaultsStore(QString path) : m_path(std::move(path))
{
    load();
}

QString FileDefaultsStore::defaultPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::ConfigLocation) + QStringLiteral("/Mosaro/defaults.json");
}

void FileDefaultsStore::load()
{
    QFile file(m_path);
    if (!file.exists())
        return;
    if (!file.open(QIODevice::ReadOnly)) {
        Log::lifecycle().error("defaults file %{public}s is unreadable (%{public}s); starting with empty defaults",
                               m_path, file.errorString());
        m_keepCorruptCopy = true;
        return;
    }
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        const QString reason =
            error.error != QJsonParseError::NoError ? error.errorString() : QStringLiteral("not a JSON object");
        Log::lifecycle().error("defaults file %{public}s is corrupt (%{public}s); starting with empty defaults", m_path,
                               reason);
        m_keepCorruptCopy = true;
        return;
    }
    const QJsonObject object = document.object();
    for (auto it = object.begin(); it != object.end(); ++it)
        m_values.insert(it.key(), fromJson(it.value()));
}

std::optional<QVariant> FileDefaultsStore::object(const QString& key) const
{
    const auto it = m_values.constFind(key);
    if (it == m_values.constEnd())
        return std::nullopt;
    return *it;
}

void FileDefaultsStore::setObject(const QString& key, const QVariant& value)
{
    const QJsonValue json = QJsonValue::fromVariant(value);
    if (json.isNull() || json.isUndefined()) {
        Log::lifecycle().error("defaults value for %{public}s has an unsupported type (%{public}s); not stored", key,
                               QString::fromLatin1(value.typeName() ? value.typeName() : "invalid"));
        return;
    }
    m_values.insert(key, fromJson(json));
    save();
}

void FileDefaultsStore::removeObject(const QString& key)
{
    if (m_values.remove(key) > 0)
        save();
}

void FileDefaultsStore::save()
{
    const QFileInfo info(m_path);
    if (!QDir().mkpath(info.absolutePath())) {
        Log::lifecycle().error("failed to write defaults file %{public}s: cannot create its folder", m_path);
        return;
    }
    if (m_keepCorruptCopy) {
        const QString copy = m_path + QStringLiteral(".corrupt");
        QFile::remove(copy);
        if (QFile::exists(m_path) && !QFile::copy(m_path, copy)) {
            // Writing now would destroy the only copy of what the user had.
            Log::lifecycle().error("failed to keep a copy of corrupt defaults file %{public}s; not overwriting it",
                                   m_path);
            return;
        }
        m_keepCorruptCopy = false;
    }
    QJsonObject object;
    for (auto it = m_values.constBegin(); it != m_values.constEnd(); ++it)
        object.insert(it.key(), QJsonValue::fromVariant(*it));
    QSaveFile file(m_path);
    if (!file.open(QIODevice::WriteOnly) || file.write(QJsonDocument(object).toJson(QJsonDocument::Indented)) < 0 ||
        !file.commit()) {
        Log::lifecycle().error("failed to write defaults file %{public}s: %{public}s", m_path, file.errorString());
    }
}

} // namespace mosaro
