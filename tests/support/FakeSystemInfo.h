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

// Records every call in order, so tests see a clear before a set.
struct FakePasteboard : Pasteboard {
    std::vector<QString> calls; // "clear" or "set:<text>"
    QString contents;
    void clearContents() override
    {
        calls.push_back(QStringLiteral("clear"));
        contents.clear();
    }
    void setString(const QString& text) override
    {
        calls.push_back(QStringLiteral("set:") + text);
        contents = text;
    }
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
