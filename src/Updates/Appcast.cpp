#include "Updates/Appcast.h"

#include <QStringList>
#include <QXmlStreamReader>

#include <algorithm>
#include <utility>

namespace mosaro::Appcast {

namespace {

bool isWebLink(const QUrl& url)
{
    return url.isValid() && (url.scheme() == QLatin1String("https") || url.scheme() == QLatin1String("http")) &&
           !url.host().isEmpty();
}

bool isVersion(const QString& version)
{
    return !version.isEmpty() && version.front().isDigit() && !version.contains(u' ');
}

// The leading number of a release part ("12" of "12rc"); parts without one count as 0.
qulonglong leadingNumber(const QString& part)
{
    qsizetype digits = 0;
    while (digits < part.size() && digits < 18 && part[digits].isDigit())
        ++digits;
    return digits == 0 ? 0 : part.left(digits).toULongLong();
}

int compareIdentifiers(const QString& a, const QString& b)
{
    bool aNumeric = false, bNumeric = false;
    const qulonglong an = a.toULongLong(&aNumeric);
    const qulonglong bn = b.toULongLong(&bNumeric);
    if (aNumeric && bNumeric)
        return an < bn ? -1 : an > bn ? 1 : 0;
    if (aNumeric != bNumeric)
        return aNumeric ? -1 : 1; // numeric identifiers rank below words
    return a.compare(b);
}

// Reads one <item>, the reader positioned on its start element.
std::optional<AppcastItem> readItem(QXmlStreamReader& xml)
{
    AppcastItem item;
    while (xml.readNextStartElement()) {
        const auto name = xml.name();
        const auto ns = xml.namespaceUri();
        if (name == QLatin1String("version") && (ns.isEmpty() || ns == QLatin1String(namespaceURI))) {
            item.version = xml.readElementText().trimmed();
        } else if (ns.isEmpty() && name == QLatin1String("title")) {
            item.title = xml.readElementText().trimmed();
        } else if (ns.isEmpty() && name == QLatin1String("link")) {
            item.releaseNotes = QUrl(xml.readElementText().trimmed(), QUrl::StrictMode);
        } else if (ns.isEmpty() && name == QLatin1String("enclosure")) {
            item.download = QUrl(xml.attributes().value(QLatin1String("url")).toString().trimmed(), QUrl::StrictMode);
            xml.skipCurrentElement();
        } else {
            xml.skipCurrentElement();
        }
    }
    if (!isVersion(item.version) || !isWebLink(item.download))
        return std::nullopt;
    // The notes link is optional; a broken one is dropped rather than shown.
    if (!isWebLink(item.releaseNotes))
        item.releaseNotes = QUrl();
    return item;
}

} // namespace

Expected<std::vector<AppcastItem>, AppcastError> parse(const QByteArray& document)
{
    QXmlStreamReader xml(document);
    if (!xml.readNextStartElement() || xml.name() != QLatin1String("rss"))
        return unexpected(AppcastError{xml.hasError() ? xml.errorString() : QStringLiteral("not an RSS document")});

    std::vector<AppcastItem> items;
    int itemCount = 0;
    bool sawChannel = false;
    while (xml.readNextStartElement()) {
        if (xml.name() != QLatin1String("channel")) {
            xml.skipCurrentElement();
            continue;
        }
        sawChannel = true;
        while (xml.readNextStartElement()) {
            if (xml.name() != QLatin1String("item")) {
                xml.skipCurrentElement();
                continue;
            }
            ++itemCount;
            if (auto item = readItem(xml))
                items.push_back(std::move(*item));
        }
    }
    // Reading on to the end finds errors after the last item too.
    while (!xml.atEnd())
        xml.readNext();
    if (xml.hasError())
        return unexpected(AppcastError{QStringLiteral("line %1: %2").arg(xml.lineNumber()).arg(xml.errorString())});
    if (!sawChannel)
        return unexpected(AppcastError{QStringLiteral("the feed has no channel")});
    if (itemCount > 0 && items.empty())
        return unexpected(AppcastError{QStringLiteral("no item of the feed names a version and a download")});
    return items;
}

int compareVersions(const QString& a, const QString& b)
{
    const auto split = [](const QString& v) {
        const qsizetype dash = v.indexOf(u'-');
        return std::pair{dash < 0 ? v : v.left(dash), dash < 0 ? QString() : v.mid(dash + 1)};
    };
    const auto [aRelease, aPre] = split(a.trimmed());
    const auto [bRelease, bPre] = split(b.trimmed());
    const QStringList aParts = aRelease.split(u'.');
    const QStringList bParts = bRelease.split(u'.');
    for (qsizetype i = 0; i < std::max(aParts.size(), bParts.size()); ++i) {
        const qulonglong x = i < aParts.size() ? leadingNumber(aParts[i]) : 0;
        const qulonglong y = i < bParts.size() ? leadingNumber(bParts[i]) : 0;
        if (x != y)
            return x < y ? -1 : 1;
    }
    if (aPre.isEmpty() || bPre.isEmpty())
        return aPre.isEmpty() == bPre.isEmpty() ? 0 : aPre.isEmpty() ? 1 : -1;
    const QStringList aIds = aPre.split(u'.');
    const QStringList bIds = bPre.split(u'.');
    for (qsizetype i = 0; i < std::min(aIds.size(), bIds.size()); ++i) {
        if (const int c = compareIdentifiers(aIds[i], bIds[i]); c != 0)
            return c < 0 ? -1 : 1;
    }
    return aIds.size() < bIds.size() ? -1 : aIds.size() > bIds.size() ? 1 : 0;
}

std::optional<AppcastItem> newest(const std::vector<AppcastItem>& items)
{
    std::optional<AppcastItem> best;
    for (const AppcastItem& item : items)
        if (!best || compareVersions(item.version, best->version) > 0)
            best = item;
    return best;
}

} // namespace mosaro::Appcast
