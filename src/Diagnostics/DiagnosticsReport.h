#pragma once

#include "Platform/AccessibilityTrust.h"
#include "Platform/Expected.h"
#include "Platform/LogReader.h"
#include "Platform/Pasteboard.h"
#include "Platform/Screen.h"
#include "Platform/System.h"
#include "Platform/SystemInfo.h"
#include "Preferences/Preferences.h"

#include <QByteArray>
#include <QString>
#include <optional>
#include <vector>

namespace mosaro {

// The support address of the bug-report mail this build was configured with.
QString defaultSupportAddress();

// The pieces of the report, each a plain function of what its source answered.
namespace DiagnosticsText {
inline constexpr const char* header = "Mosaro Diagnostics\n====================\n";
inline constexpr const char* noLogEntries = "(no Mosaro log entries in the last 5 min)";
inline constexpr int logWindowSeconds = 300;
inline constexpr std::size_t logLineLimit = 400;

// "short (build)", an em dash standing in for a missing value.
QString appVersionString(const BundleInfo& bundle);
// The text up to the first NUL, invalid UTF-8 repaired; "?" when there is none.
QString hardwareValue(const std::optional<QByteArray>& raw);
// "[0] 1512×982 @2.0x \"Name\"; [1] …", or "none reported".
QString displayList(const std::vector<ScreenRef>& screens);
// "3×2, margin 0px, per-display OFF" or "… per-display ON (2 override(s))".
QString gridSummary(const Preferences& preferences);
// The log block: the last 400 message lines of the read, oldest first, or one bracketed text.
QString logBlock(const Expected<std::vector<LogRecord>, LogReadError>& read);
// "mailto:<address>?subject=…&body=…", or nothing when the address cannot form a URL.
std::optional<QString> bugReportMailURL(const QString& supportAddress, const QString& appVersion);
} // namespace DiagnosticsText

// Where the report's facts come from. Everything is read afresh for every report.
struct DiagnosticsSources {
    const BundleInfo& bundle;
    const OperatingSystemInfo& operatingSystem;
    const HardwareInfo& hardware;
    const ScreenList& screens;
    AccessibilityTrust& trust;
    QString preferencesFile; // read with loadPreferences
    const LogReader& log;
    const Clock& clock;
    Pasteboard& pasteboard;
    UrlOpener& urlOpener;
    QString supportAddress = defaultSupportAddress();
};

// The diagnostics report for support, and the bug-report mail that asks for it.
class Diagnostics {
public:
    explicit Diagnostics(DiagnosticsSources sources) : m_sources(std::move(sources)) {}

    QString appVersionString() const;
    QString diagnosticsSummary() const;
    QString recentLogText() const;
    QString diagnosticsReport() const;

    // Replaces the clipboard's content with the report. Nothing is logged.
    void copyDiagnostics();
    // Copies the report, then opens the pre-filled mail in the user's mail program.
    void reportBug();

private:
    DiagnosticsSources m_sources;
};

} // namespace mosaro
