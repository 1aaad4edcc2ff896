#include "Diagnostics/DiagnosticsReport.h"

#include "Diagnostics/Log/Log.h"
#include "Preferences/PreferencesFile.h"

#include <QLocale>
#include <QStringList>
#include <cmath>
#include <cstring>

#ifndef MOSARO_SUPPORT_ADDRESS
#error "MOSARO_SUPPORT_ADDRESS is set by the build"
#endif

namespace mosaro {

QString defaultSupportAddress()
{
    return QStringLiteral(MOSARO_SUPPORT_ADDRESS);
}

namespace {

const QString emDash = QStringLiteral("—");

QString dimension(double points)
{
    // Whole points, the fraction dropped.
    if (!std::isfinite(points))
        return QStringLiteral("0");
    return QString::number(static_cast<long long>(std::trunc(points)));
}

// The usual decimal form of a scale factor: 2.0, 1.0, 1.25.
QString scaleText(double scale)
{
    QString text = QString::number(scale, 'g', QLocale::FloatingPointShortest);
    bool plainInteger = !text.isEmpty();
    for (const QChar c : text)
        plainInteger = plainInteger && (c.isDigit() || c == u'-');
    if (plainInteger)
        text += QStringLiteral(".0");
    return text;
}

// Percent-encodes everything outside the given extra characters and the unreserved ones, byte by
// byte of the UTF-8 form.
QString percentEncoded(const QString& text, const char* allowedExtra)
{
    static const char hex[] = "0123456789ABCDEF";
    QString out;
    for (const char byte : text.toUtf8()) {
        const auto c = static_cast<unsigned char>(byte);
        const bool unreserved = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
                                c == '-' || c == '.' || c == '_' || c == '~';
        if (unreserved || (c < 0x80 && c != 0 && std::strchr(allowedExtra, c))) {
            out += QChar(c);
        } else {
            out += u'%';
            out += QChar(hex[c >> 4]);
            out += QChar(hex[c & 0xF]);
        }
    }
    return out;
}

// What a query allows, less the two characters that separate query items.
constexpr const char* queryValueExtra = "!$'()*+,;:@/?";
// What a path allows.
constexpr const char* pathExtra = "!$&'()*+,;=:@/";

const char* const mailBodyTemplate =
    "Describe what happened, and what you expected instead:\n\n\nSteps to reproduce:\n1.\n\n"
    "────────────────────────────────────────\n"
    "Diagnostics have been copied to your clipboard — please paste them\n"
    "below this line (they contain no personal information):\n";

} // namespace

namespace DiagnosticsText {

QString appVersionString(const BundleInfo& bundle)
{
    return bundle.shortVersion().value_or(emDash) + QStringLiteral(" (") + bundle.buildVersion().value_or(emDash) +
           QStringLiteral(")");
}

QString hardwareValue(const std::optional<QByteArray>& raw)
{
    if (!raw || raw->isEmpty())
        return QStringLiteral("?");
    const qsizetype nul = raw->indexOf('\0');
    // fromUtf8 replaces every invalid sequence with U+FFFD.
    return QString::fromUtf8(nul < 0 ? *raw : raw->left(nul));
}

QString displayList(const std::vector<ScreenRef>& screens)
{
    if (screens.empty())
        return QStringLiteral("none reported");
    QStringList entries;
    for (std::size_t i = 0; i < screens.size(); ++i) {
        const Screen& screen = *screens[i];
        const Rect frame = screen.frame();
        entries << QStringLiteral("[%1] %2×%3 @%4x \"%5\"")
                       .arg(QString::number(i), dimension(frame.width), dimension(frame.height),
                            scaleText(screen.backingScaleFactor()), screen.localizedName());
    }
    return entries.join(QStringLiteral("; "));
}

QString gridSummary(const Preferences& preferences)
{
    const ProSettings& pro = preferences.proSettings;
    QString text = QStringLiteral("%1×%2, margin %3px, per-display ")
                       .arg(pro.globalGrid.columns)
                       .arg(pro.globalGrid.rows)
                       .arg(pro.margin);
    if (pro.perDisplayMode)
        text += QStringLiteral("ON (%1 override(s))").arg(pro.perDisplayGrids.overrides.size());
    else
        text += QStringLiteral("OFF");
    return text;
}

QString logBlock(const Expected<std::vector<LogRecord>, LogReadError>& read)
{
    if (!read)
        return QStringLiteral("(could not read unified log: ") + read.error().description + QStringLiteral(")");
    QStringList lines;
    for (const LogRecord& record : *read) {
        if (record.kind != LogRecord::Kind::message)
            continue;
        lines << record.time.toLocalTime().toString(QStringLiteral("HH:mm:ss.zzz")) + QStringLiteral(" [") +
                     record.category + QStringLiteral("] ") + record.message;
    }
    if (lines.isEmpty())
        return QString::fromUtf8(noLogEntries);
    if (std::size_t(lines.size()) > logLineLimit)
        lines = lines.mid(lines.size() - qsizetype(logLineLimit));
    return lines.join(u'\n');
}

std::optional<QString> bugReportMailURL(const QString& supportAddress, const QString& appVersion)
{
    // A mail without a recipient is no bug report.
    if (supportAddress.trimmed().isEmpty())
        return std::nullopt;
    const QString subject = QStringLiteral("Mosaro bug report — ") + appVersion;
    return QStringLiteral("mailto:") + percentEncoded(supportAddress, pathExtra) + QStringLiteral("?subject=") +
           percentEncoded(subject, queryValueExtra) + QStringLiteral("&body=") +
           percentEncoded(QString::fromUtf8(mailBodyTemplate), queryValueExtra);
}

} // namespace DiagnosticsText

QString Diagnostics::appVersionString() const
{
    return DiagnosticsText::appVersionString(m_sources.bundle);
}

QString Diagnostics::diagnosticsSummary() const
{
    const auto preferences = loadPreferences(m_sources.preferencesFile);
    const QStringList lines{
        QStringLiteral("App:      Mosaro ") + appVersionString(),
        QStringLiteral("macOS:    ") + m_sources.operatingSystem.versionText(),
        QStringLiteral("Hardware: ") +
            DiagnosticsText::hardwareValue(m_sources.hardware.value(QStringLiteral("hw.model"))) +
            QStringLiteral(" (") +
            DiagnosticsText::hardwareValue(m_sources.hardware.value(QStringLiteral("hw.machine"))) +
            QStringLiteral(")"),
        QStringLiteral("Displays: ") + DiagnosticsText::displayList(m_sources.screens.screens()),
        QStringLiteral("AX perm:  ") + (m_sources.trust.isProcessTrustedWithOptions(/*prompt*/ false)
                                            ? QStringLiteral("granted")
                                            : QStringLiteral("NOT granted")),
        QStringLiteral("Grid:     ") + DiagnosticsText::gridSummary(preferences.valueOr(Preferences::defaults())),
    };
    return lines.join(u'\n');
}

QString Diagnostics::recentLogText() const
{
    const LogQuery query{m_sources.clock.now().addSecs(-DiagnosticsText::logWindowSeconds), Log::subsystem,
                         Log::reportCategories()};
    return DiagnosticsText::logBlock(m_sources.log.entries(query));
}

QString Diagnostics::diagnosticsReport() const
{
    return QString::fromUtf8(DiagnosticsText::header) + diagnosticsSummary() +
           QStringLiteral("\n\n--- Recent log (subsystem ") + Log::subsystem + QStringLiteral(", last 5 min) ---\n") +
           recentLogText();
}

void Diagnostics::copyDiagnostics()
{
    m_sources.pasteboard.clearContents();
    m_sources.pasteboard.setString(diagnosticsReport());
}

void Diagnostics::reportBug()
{
    copyDiagnostics();
    // Without a URL, or a mail program to take it, the report stays on the clipboard.
    if (const auto url = DiagnosticsText::bugReportMailURL(m_sources.supportAddress, appVersionString()))
        m_sources.urlOpener.openUrl(*url);
}

} // namespace mosaro
