#pragma once

#include "Platform/SystemInfo.h"

#include <QStringList>

namespace mosaro {

// "<PRETTY_NAME of os-release>, kernel <release>", e.g. "Debian GNU/Linux 12 (bookworm), kernel 6.1.0-18-amd64".
class LinuxOperatingSystemInfo final : public OperatingSystemInfo {
public:
    // The first of the files that can be read is used; without any the distribution is "Linux".
    explicit LinuxOperatingSystemInfo(QStringList osReleaseFiles = {QStringLiteral("/etc/os-release"),
                                                                    QStringLiteral("/usr/lib/os-release")});
    QString versionText() const override;

    // PRETTY_NAME of an os-release text, unquoted and unescaped; empty when it has none.
    static QString prettyName(const QByteArray& osRelease);

private:
    QStringList m_files;
};

// "hw.model" is the board's product name from DMI, "hw.machine" the machine field of uname.
class LinuxHardwareInfo final : public HardwareInfo {
public:
    explicit LinuxHardwareInfo(QString productNameFile = QStringLiteral("/sys/class/dmi/id/product_name"));
    std::optional<QByteArray> value(const QString& name) const override;

private:
    QString m_productNameFile;
};

} // namespace mosaro
