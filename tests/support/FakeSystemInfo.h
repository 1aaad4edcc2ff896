#pragma once

#include "Platform/LogReader.h"
#include "Platform/Pasteboard.h"
#include "Platform/System.h"
#include "Platform/SystemInfo.h"

#include <map>
#include <vector>

namespace mosaro::test {

struct FakeBundleInfo : BundleInfo {
    std::optional<QString> shortVersionValue;
    std::optional<QString> buildVersionValue;
    std::optional<QString> shortVersion() const override { return shortVersionValue; }
    std::optional<QString> buildVersion() const override { return buildVersionValue; }
};

struct FakeOperatingSystemInfo : OperatingSystemInfo {
    QString text;
    QString versionText() const override { return text; }
};

struct FakeHardwareInfo : HardwareInfo {
    std::map<QString, QByteArray> values; // a missing name cannot be read
    std::optional<QByteArray> value(const QString& name) const override
    {
        const auto it = values.find(name);
        if (it == values.end())
            return std::nullopt;
        return it->second;
    }
};

struct FakePasteboard : Pasteboard {
    QString contents;
    void clearContents() override { contents.clear(); }
    void setString(const QString& text) override { contents = text; }
};

struct FakeClock : Clock {
    QDateTime time = QDateTime::currentDateTime();
    QDateTime now() const override { return time; }
};

// Answers every read with what the test put in.
struct FakeLogReader : LogReader {
    Expected<std::vector<LogRecord>, LogReadError> answer = std::vector<LogRecord>{};
    Expected<std::vector<LogRecord>, LogReadError> entries(const LogQuery&) const override { return answer; }
};

} // namespace mosaro::test
