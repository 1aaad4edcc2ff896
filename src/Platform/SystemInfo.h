#pragma once

#include <QByteArray>
#include <QString>
#include <optional>

namespace mosaro {

// The application's own version, as the build stamped it.
class BundleInfo {
public:
    virtual ~BundleInfo() = default;
    // The release version people see ("0.1.0"), or nothing.
    virtual std::optional<QString> shortVersion() const = 0;
    // The build that produced this binary, or nothing.
    virtual std::optional<QString> buildVersion() const = 0;
};

class OperatingSystemInfo {
public:
    virtual ~OperatingSystemInfo() = default;
    // The system's own description of itself and its version, used as given.
    virtual QString versionText() const = 0;
};

class HardwareInfo {
public:
    virtual ~HardwareInfo() = default;
    // The raw bytes of a named hardware value ("hw.model", "hw.machine"), or nothing when the
    // system cannot tell. The bytes may hold a NUL and invalid UTF-8.
    virtual std::optional<QByteArray> value(const QString& name) const = 0;
};

} // namespace mosaro
