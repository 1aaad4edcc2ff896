#pragma once

#include "Platform/Expected.h"

#include <QByteArray>
#include <QString>
#include <QUrl>
#include <optional>
#include <vector>

namespace mosaro {

// One release in the update feed.
struct AppcastItem {
    QString version;   // "0.2.0"
    QString title;     // "Mosaro 0.2.0", may be empty
    QUrl releaseNotes; // the item's <link>
    QUrl download;     // the item's <enclosure url="…">
    friend bool operator==(const AppcastItem&, const AppcastItem&) = default;
};

struct AppcastError {
    QString description;
    friend bool operator==(const AppcastError&, const AppcastError&) = default;
};

// The update feed: an RSS 2.0 document whose items each name a release.
//
//   <rss version="2.0" xmlns:mosaro="https://brenmark.tech/xmlns/mosaro-appcast">
//     <channel>
//       <title>Mosaro</title>
//       <item>
//         <title>Mosaro 0.2.0</title>
//         <mosaro:version>0.2.0</mosaro:version>
//         <link>https://…/releases/0.2.0</link>
//         <enclosure url="https://…/mosaro_0.2.0_amd64.deb" type="application/vnd.debian.binary-package"/>
//       </item>
//     </channel>
//   </rss>
namespace Appcast {
inline constexpr const char* namespaceURI = "https://brenmark.tech/xmlns/mosaro-appcast";

// The usable items in document order. Items without a version or with links that are not
// http(s) are left out; a document that is not such a feed, or whose items are all unusable,
// is an error.
Expected<std::vector<AppcastItem>, AppcastError> parse(const QByteArray& document);

// Dotted release numbers compared part by part ("0.10.0" > "0.9.1", "1.0" == "1.0.0"); a
// pre-release ("1.0.0-beta.2") comes before its release. Negative, zero or positive.
int compareVersions(const QString& a, const QString& b);

// The item with the highest version, or nothing for an empty list.
std::optional<AppcastItem> newest(const std::vector<AppcastItem>& items);
} // namespace Appcast

} // namespace mosaro
