// defaults.json as the defaults store reads it, and the same values written back.

#include "FuzzInput.h"

#include "Platform/FileDefaultsStore.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>

using namespace mosaro;

// NOLINTNEXTLINE(readability-identifier-naming): the name libFuzzer calls
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char*>(data), qsizetype(size));
    const auto values = FileDefaultsStore::parse(bytes);
    if (!values)
        return 0;
    // What was read is written the way the store writes it, and reads back with the same keys.
    QJsonObject object;
    for (auto it = values->constBegin(); it != values->constEnd(); ++it)
        object.insert(it.key(), QJsonValue::fromVariant(*it));
    const auto again = FileDefaultsStore::parse(QJsonDocument(object).toJson(QJsonDocument::Indented));
    MOSARO_FUZZ_CHECK(again && again->keys() == values->keys());
    return 0;
}
