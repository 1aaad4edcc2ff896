#pragma once

#include "Platform/DefaultsStore.h"

#include <QVariantMap>

namespace mosaro::test {

// A defaults store held in memory; tests read and seed `values` directly.
class InMemoryDefaultsStore : public DefaultsStore {
public:
    std::optional<QVariant> object(const QString& key) const override
    {
        const auto it = values.constFind(key);
        if (it == values.constEnd())
            return std::nullopt;
        return *it;
    }
    void setObject(const QString& key, const QVariant& value) override { values.insert(key, value); }
    void removeObject(const QString& key) override { values.remove(key); }

    QVariantMap values;
};

} // namespace mosaro::test
