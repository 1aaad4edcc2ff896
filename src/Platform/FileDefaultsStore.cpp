#include "Platform/FileDefaultsStore.h"

#include "Diagnostics/Log/Log.h"
#include "Platform/FileReplacement.h"

#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
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

Expected<QVariantMap, QString> FileDefaultsStore::parse(const QByteArray& bytes)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError)
        return unexpected(
            QStringLiteral("not valid JSON (%1 at offset %2)").arg(error.errorString()).arg(error.offset));
    if (!document.isObject())
        return unexpected(QStringLiteral("not a JSON object"));
    QVariantMap values;
    const QJsonObject object = document.object();
    for (auto it = object.begin(); it != object.end(); ++it)
        values.insert(it.key(), fromJson(it.value()));
    return values;
}

void FileDefaultsStore::load()
{
    const auto bytes = FileReplacement::readIfPresent(m_path);
    if (!bytes) {
        Log::lifecycle().error("defaults file %s is unreadable (%{public}s); starting with empty defaults",
                               bytes.error().path, bytes.error().reason);
        return;
    }
    if (!*bytes)
        return;
    auto values = parse(**bytes);
    if (!values) {
        Log::lifecycle().error("defaults file %s is corrupt (%{public}s); starting with empty defaults", m_path,
                               values.error());
        return;
    }
    m_values = std::move(*values);
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

void FileDefaultsStore::keepWhatWillBeReplaced()
{
    const auto bytes = FileReplacement::readIfPresent(m_path);
    QString whyNotLoaded;
    if (bytes) {
        if (!*bytes)
            return;
        const auto parsed = parse(**bytes);
        if (parsed)
            return;
        whyNotLoaded = parsed.error();
    }
    // Bytes that did not load are what the user had; they outlive the write.
    const auto copy = bytes ? FileReplacement::keepCopy(m_path, **bytes, QDateTime::currentDateTimeUtc())
                            : Expected<QString, FileReplacement::FileError>(unexpected(bytes.error()));
    if (!copy) {
        Log::lifecycle().error(
            "could not keep a copy of the defaults file before replacing it: %{public}s %s: %{public}s; replacing it "
            "anyway",
            copy.error().action, copy.error().path, copy.error().reason);
        return;
    }
    Log::lifecycle().error("kept the defaults file that did not load as %{public}s before replacing it (%{public}s)",
                           QFileInfo(*copy).fileName(), whyNotLoaded);
}

void FileDefaultsStore::save()
{
    if (const auto made = FileReplacement::makeFolders(QFileInfo(m_path).absolutePath()); !made) {
        Log::lifecycle().error("failed to write defaults file: %{public}s %s: %{public}s", made.error().action,
                               made.error().path, made.error().reason);
        return;
    }
    QJsonObject object;
    for (auto it = m_values.constBegin(); it != m_values.constEnd(); ++it)
        object.insert(it.key(), QJsonValue::fromVariant(*it));
    const auto written = FileReplacement::replaceAtomically(
        m_path, QJsonDocument(object).toJson(QJsonDocument::Indented), [this] { keepWhatWillBeReplaced(); });
    if (!written)
        Log::lifecycle().error("failed to write defaults file: %{public}s %s: %{public}s", written.error().action,
                               written.error().path, written.error().reason);
}

} // namespace mosaro
