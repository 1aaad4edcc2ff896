#include "Updates/Appcast.h"

#include "support/QtPrinters.h"

#include <gtest/gtest.h>

using namespace mosaro;

namespace {

QByteArray feed(const QByteArray& items)
{
    return R"(<?xml version="1.0" encoding="utf-8"?>
<rss version="2.0" xmlns:mosaro="https://brenmark.tech/xmlns/mosaro-appcast">
  <channel>
    <title>Mosaro</title>
    <link>https://mosaro.brenmark.tech/</link>
)" + items +
           R"(
  </channel>
</rss>)";
}

QByteArray item(const QByteArray& version, const QByteArray& download = "https://dl.example.org/mosaro.deb",
                const QByteArray& notes = "https://example.org/notes")
{
    QByteArray text = "<item><title>Mosaro " + version + "</title>";
    if (!version.isEmpty())
        text += "<mosaro:version>" + version + "</mosaro:version>";
    text += "<link>" + notes + "</link><pubDate>Fri, 14 Mar 2025 12:00:00 +0000</pubDate>";
    if (!download.isEmpty())
        text += "<enclosure url=\"" + download + "\" length=\"123\" type=\"application/vnd.debian.binary-package\"/>";
    return text + "</item>";
}

TEST(Appcast, SkipsItemsWithoutVersionOrWebDownload)
{
    const auto items =
        Appcast::parse(feed(item("") + item("0.2.0", "") + item("0.2.1", "file:///etc/passwd") +
                            item("0.2.2", "https://dl.example.org/x.deb", "javascript:alert(1)") + item("latest")));
    ASSERT_TRUE(items.hasValue());
    ASSERT_EQ(items->size(), 1u);
    EXPECT_EQ((*items)[0].version, "0.2.2");
    EXPECT_EQ((*items)[0].releaseNotes, QUrl()); // a notes link that is not a web page is dropped

    EXPECT_TRUE(Appcast::parse(feed(""))->empty()); // a feed without releases is fine
}

TEST(Appcast, RejectsWhatIsNoFeed)
{
    for (const QByteArray& document : {
             QByteArray(""),
             QByteArray("<html><body>Moved</body></html>"),
             QByteArray("<rss version=\"2.0\"></rss>"),              // no channel
             feed(item("0.2.0")).replace("</channel>", "</chanel>"), // not well-formed
             feed(item("")),                                         // items, none usable
             QByteArray("{\"version\": \"0.2.0\"}"),
         }) {
        EXPECT_FALSE(Appcast::parse(document).hasValue()) << document.toStdString();
    }
}

TEST(Appcast, VersionsCompareByReleaseNumbersThenPreReleases)
{
    const std::vector<std::pair<QString, QString>> ascending{
        {"0.1.0", "0.1.1"},
        {"0.9.1", "0.10.0"},
        {"1.0.0-beta", "1.0.0"},
        {"1.0.0-alpha", "1.0.0-beta"},
        {"1.0.0-beta.2", "1.0.0-beta.11"},
        {"1.0.0-1", "1.0.0-rc"},
        {"1.0.0-rc", "1.0.0-rc.1"},
        {"1", "1.0.1"},
    };
    for (const auto& [lower, higher] : ascending) {
        EXPECT_LT(Appcast::compareVersions(lower, higher), 0) << lower.toStdString() << " < " << higher.toStdString();
        EXPECT_GT(Appcast::compareVersions(higher, lower), 0) << higher.toStdString() << " > " << lower.toStdString();
    }
    EXPECT_EQ(Appcast::compareVersions("1.0", "1.0.0"), 0);
    EXPECT_EQ(Appcast::compareVersions("0.2.0", " 0.2.0 "), 0);
}

} // namespace
