#include "Platform/DefaultsStore.h"

namespace mosaro {

std::optional<QString> DefaultsStore::string(const QString& key) const
{
    const auto value = object(key);
    if (!value)
        return std::nullopt;
    switch (value->typeId()) {
    case QMetaType::QString:
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::LongLong:
    case QMetaType::UInt:
    case QMetaType::ULongLong:
    case QMetaType::Double:
        return value->toString();
    default:
        return std::nullopt;
    }
}

bool DefaultsStore::boolean(const QString& key) const
{
    const auto value = object(key);
    if (!value)
        return false;
    switch (value->typeId()) {
    case QMetaType::Bool:
        return value->toBool();
    case QMetaType::Int:
    case QMetaType::LongLong:
    case QMetaType::UInt:
    case QMetaType::ULongLong:
    case QMetaType::Double:
        return value->toDouble() != 0;
    case QMetaType::QString: {
        const QString s = value->toString().trimmed().toLower();
        return s == QLatin1String("yes") || s == QLatin1String("true") || s.toLongLong() != 0;
    }
    default:
        return false;
    }
}

} // namespace mosaro
