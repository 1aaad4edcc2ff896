#include "Platform/Linux/LinuxSystemInfo.h"

#include <QFile>

#include <cstring>
#include <sys/utsname.h>

namespace mosaro {

namespace {

std::optional<QByteArray> readSmallFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    // Small system files; a bound keeps a strange one from costing much.
    const QByteArray bytes = file.read(qint64(64) * 1024);
    if (file.error() != QFileDevice::NoError)
        return std::nullopt;
    return bytes;
}

std::optional<utsname> unameInfo()
{
    utsname info{};
    if (::uname(&info) != 0)
        return std::nullopt;
    return info;
}

// One os-release value: shell-style, optionally in single or double quotes, with backslash
// escapes inside double quotes.
QString unquote(const QByteArray& raw)
{
    const QByteArray value = raw.trimmed();
    if (value.size() >= 2 && value.front() == '\'' && value.back() == '\'')
        return QString::fromUtf8(value.mid(1, value.size() - 2));
    if (value.size() >= 2 && value.front() == '"' && value.back() == '"') {
        QByteArray out;
        for (qsizetype i = 1; i < value.size() - 1; ++i) {
            if (value[i] == '\\' && i + 1 < value.size() - 1)
                ++i;
            out += value[i];
        }
        return QString::fromUtf8(out);
    }
    return QString::fromUtf8(value);
}

} // namespace

LinuxOperatingSystemInfo::LinuxOperatingSystemInfo(QStringList osReleaseFiles) : m_files(std::move(osReleaseFiles))
{}

QString LinuxOperatingSystemInfo::prettyName(const QByteArray& osRelease)
{
    QString name;
    for (const QByteArray& line : osRelease.split('\n')) {
        const QByteArray trimmed = line.trimmed();
        if (trimmed.startsWith("PRETTY_NAME="))
            name = unquote(trimmed.mid(int(std::strlen("PRETTY_NAME="))));
    }
    return name.trimmed();
}

QString LinuxOperatingSystemInfo::versionText() const
{
    QString distribution;
    for (const QString& path : m_files) {
        if (const auto text = readSmallFile(path)) {
            distribution = prettyName(*text);
            break;
        }
    }
    // What os-release itself says to assume when the name is missing.
    if (distribution.isEmpty())
        distribution = QStringLiteral("Linux");
    const auto info = unameInfo();
    if (!info)
        return distribution;
    return QStringLiteral("%1, kernel %2").arg(distribution, QString::fromUtf8(info->release));
}

LinuxHardwareInfo::LinuxHardwareInfo(QString productNameFile) : m_productNameFile(std::move(productNameFile))
{}

std::optional<QByteArray> LinuxHardwareInfo::value(const QString& name) const
{
    if (name == QLatin1String("hw.model")) {
        const auto text = readSmallFile(m_productNameFile);
        if (!text)
            return std::nullopt;
        const QByteArray model = text->trimmed();
        if (model.isEmpty())
            return std::nullopt;
        return model;
    }
    if (name == QLatin1String("hw.machine")) {
        const auto info = unameInfo();
        if (!info)
            return std::nullopt;
        return QByteArray(info->machine);
    }
    return std::nullopt;
}

} // namespace mosaro
