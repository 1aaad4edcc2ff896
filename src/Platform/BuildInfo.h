#pragma once

#include "Platform/SystemInfo.h"

namespace mosaro {

// The version this binary was built as: the project's version and the build number chosen when
// it was configured (MOSARO_BUILD_NUMBER). An empty value counts as missing.
class BuildBundleInfo final : public BundleInfo {
public:
    std::optional<QString> shortVersion() const override;
    std::optional<QString> buildVersion() const override;
};

} // namespace mosaro
