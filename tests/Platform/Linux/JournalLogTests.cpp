#include "Platform/Linux/JournalLog.h"

#include "Diagnostics/DiagnosticsReport.h"
#include "Diagnostics/Log/LogMessages.h"

#include "support/QtPrinters.h"
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <systemd/sd-id128.h>

#include <unistd.h>

using namespace mosaro;

namespace {

QByteArray currentBoot()
{
    sd_id128_t boot;
    if (sd_id128_get_boot(&boot) < 0)
        return "0123456789abcdef0123456789abcdef";
    char text[SD_ID128_STRING_MAX];
    return sd_id128_to_string(boot, text);
}

// One entry as journald would store it: the sink's fields plus the ones journald adds itself.
struct JournalEntry {
    QDateTime time;
    std::vector<QByteArray> fields;
    pid_t pid = ::getpid();
    QByteArray boot = currentBoot();
};

// An entry as the logger makes it: its message always redacted.
Log::Entry message(const QString& category, const char* format, std::vector<Log::Arg> args = {})
{
    Log::Entry entry;
    entry.category = category;
    entry.format = QString::fromUtf8(format);
    entry.args = std::move(args);
    entry.message = Log::compose(entry.format, entry.args);
    return entry;
}

// The journal's fields for an entry sent while private data is switched on.
std::vector<QByteArray> fieldsRevealingPrivateData(const Log::Entry& entry)
{
    Log::setRevealPrivate(true);
    auto fields = journalFields(entry);
    Log::setRevealPrivate(false);
    return fields;
}

Log::Entry signpost(Log::Entry::Kind kind, const char* name, const char* endMessage = "")
{
    Log::Entry entry;
    entry.kind = kind;
    entry.category = QStringLiteral("perf");
    entry.signpostName = QString::fromUtf8(name);
    entry.signpostID = 7;
    entry.message = QString::fromUtf8(endMessage);
    return entry;
}

// Writes the entries in the journal export format (binary-safe where a value has a line break).
QByteArray exportFormat(const std::vector<JournalEntry>& entries)
{
    QByteArray out;
    std::uint64_t monotonic = 1000000;
    for (const JournalEntry& e : entries) {
        std::vector<QByteArray> fields{
            "__REALTIME_TIMESTAMP=" + QByteArray::number(e.time.toMSecsSinceEpoch() * 1000),
            "__MONOTONIC_TIMESTAMP=" + QByteArray::number(monotonic += 1000),
            "_BOOT_ID=" + e.boot,
            "_PID=" + QByteArray::number(e.pid),
        };
        fields.insert(fields.end(), e.fields.begin(), e.fields.end());
        for (const QByteArray& f : fields) {
            const qsizetype eq = f.indexOf('=');
            const QByteArray value = f.mid(eq + 1);
            if (!value.contains('\n')) {
                out += f + '\n';
                continue;
            }
            out += f.left(eq) + '\n';
            std::uint64_t size = std::uint64_t(value.size());
            for (int i = 0; i < 8; ++i, size >>= 8)
                out += char(size & 0xFF);
            out += value + '\n';
        }
        out += '\n';
    }
    return out;
}

class JournalReaderTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(dir.isValid()); }

    // A real journal file, made from export-format entries by systemd-journal-remote.
    QString writeJournal(const std::vector<JournalEntry>& entries)
    {
        const QString tool = QStringLiteral(MOSARO_JOURNAL_REMOTE);
        if (tool.isEmpty() || !QFile::exists(tool)) {
            ADD_FAILURE() << "systemd-journal-remote is missing: install the package listed in packages.txt";
            return {};
        }
        QString path = dir.filePath(QStringLiteral("test.journal"));
        QProcess remote;
        remote.start(tool, {QStringLiteral("--output=") + path, QStringLiteral("-")});
        remote.write(exportFormat(entries));
        remote.closeWriteChannel();
        if (!remote.waitForFinished(20000) || remote.exitCode() != 0) {
            ADD_FAILURE() << "systemd-journal-remote failed: " << remote.readAllStandardError().toStdString();
            return {};
        }
        return path;
    }

    QTemporaryDir dir;
    const QDateTime now = QDateTime::currentDateTime();
    const LogQuery query{now.addSecs(-300), Log::subsystem, Log::reportCategories()};
};

TEST_F(JournalReaderTest, ReadsThisProcessesMessagesOfTheWindowWithSignpostsMarked)
{
    JournalEntry otherBoot{now.addSecs(-70), journalFields(message("overlay", "from another boot"))};
    otherBoot.boot = "fedcba9876543210fedcba9876543210";
    JournalEntry otherProcess{now.addSecs(-200), journalFields(message("overlay", "another mosaro"))};
    otherProcess.pid = ::getpid() + 1;
    auto otherSubsystem = journalFields(message("overlay", "not ours"));
    for (QByteArray& f : otherSubsystem)
        if (f.startsWith("MOSARO_SUBSYSTEM="))
            f = "MOSARO_SUBSYSTEM=org.example.other";

    const QString path = writeJournal({
        {now.addSecs(-400), journalFields(message("lifecycle", "too old"))},
        {now.addSecs(-299), journalFields(message("lifecycle", LogMessages::didFinishLaunching))},
        otherProcess,
        {now.addSecs(-150), journalFields(message("onboarding", LogMessages::showingOnboarding))},
        {now.addSecs(-100), journalFields(signpost(Log::Entry::Kind::signpostBegin, "sc-001 show-overlay"))},
        {now.addSecs(-99), journalFields(signpost(Log::Entry::Kind::signpostEnd, "sc-001 show-overlay", "ok"))},
        // Written while the reveal switch was on: the reader takes the redacted text.
        {now.addSecs(-90),
         fieldsRevealingPrivateData(
             message("overlay", LogMessages::overlayShow, {QStringLiteral("Secret.txt"), QStringLiteral("(0, 0)")}))},
        {now.addSecs(-80), otherSubsystem},
        otherBoot,
        {now.addSecs(-1), journalFields(message("windowmanager", "line one\nline two"))},
    });
    ASSERT_FALSE(path.isEmpty());

    const auto read = JournalLogReader({{path}, ::getpid()}).entries(query);
    ASSERT_TRUE(read.hasValue()) << read.error().description.toStdString();
    std::vector<std::pair<QString, QString>> seen;
    for (const LogRecord& r : *read)
        seen.emplace_back(r.category, (r.kind == LogRecord::Kind::signpost ? "signpost " : "") + r.message);
    const std::vector<std::pair<QString, QString>> expected{
        {"lifecycle", LogMessages::didFinishLaunching}, {"perf", "signpost sc-001 show-overlay"},
        {"perf", "signpost sc-001 show-overlay"},       {"overlay", "overlay show: window=<private> display=<private>"},
        {"windowmanager", "line one\nline two"},
    };
    EXPECT_EQ(seen, expected);
    EXPECT_EQ(read->front().time.toMSecsSinceEpoch(), now.addSecs(-299).toMSecsSinceEpoch());
}

TEST_F(JournalReaderTest, UnreadableJournalIsAnError)
{
    QFile regular(dir.filePath(QStringLiteral("regular")));
    ASSERT_TRUE(regular.open(QIODevice::WriteOnly));
    regular.close();
    // A path under a regular file fails for root too.
    const auto read = JournalLogReader({{regular.fileName() + "/x.journal"}, ::getpid()}).entries(query);
    ASSERT_FALSE(read.hasValue());
    EXPECT_EQ(DiagnosticsText::logBlock(read), "(could not read unified log: Not a directory)");
}

// What journalctl shows; the fields the report reads back are the reader test's.
TEST(JournalFields, SinkMarksKindsAndKeepsARedactedCopyOnlyWhenNeeded)
{
    const auto has = [](const std::vector<QByteArray>& fields, const QByteArray& item) {
        return std::find(fields.begin(), fields.end(), item) != fields.end();
    };
    const auto hidden =
        journalFields(message("overlay", LogMessages::overlayShow, {QStringLiteral("T"), QStringLiteral("D")}));
    EXPECT_TRUE(has(hidden, "MESSAGE=overlay show: window=<private> display=<private>"));
    EXPECT_TRUE(has(hidden, "PRIORITY=6"));
    EXPECT_FALSE(std::any_of(hidden.begin(), hidden.end(),
                             [](const QByteArray& f) { return f.startsWith("MOSARO_REDACTED_MESSAGE="); }));
    const auto shown = fieldsRevealingPrivateData(
        message("overlay", LogMessages::overlayShow, {QStringLiteral("T"), QStringLiteral("D")}));
    EXPECT_TRUE(has(shown, "MESSAGE=overlay show: window=T display=D"));

    const auto end = journalFields(signpost(Log::Entry::Kind::signpostEnd, "sc-002a commit-move", "ok"));
    EXPECT_TRUE(has(end, "MESSAGE=signpost end sc-002a commit-move: ok"));
    EXPECT_TRUE(has(end, "PRIORITY=7"));
}

} // namespace
