#include "Platform/BuildInfo.h"

#ifndef MOSARO_SHORT_VERSION
#error "MOSARO_SHORT_VERSION is set by the build"
#endif
#ifndef MOSARO_BUILD_NUMBER
#error "MOSARO_BUILD_NUMBER is set by the build"
#endif

namespace mosaro {

namespace {
std::optional<QString> nonEmpty(const char* text)
{
    const QString value = QString::fromUtf8(text).trimmed();
    if (value.isEmpty())
        return std::nullopt;
    return value;
}
} // namespace

std::optional<QString> BuildBundleInfo::shortVersion() const
{
    return nonEmpty(MOSARO_SHORT_VERSION);
}

std::optional<QString> BuildBundleInfo::buildVersion() const
{
    return nonEmpty(MOSARO_BUILD_NUMBER);
}

} // namespace mosaro
