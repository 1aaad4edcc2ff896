#include "Preferences/PreferencesJson.h"

#include <gtest/gtest.h>

using namespace mosaro;

namespace {

// A compact, unsorted version-2 document with the margin and one extra member as given.
QByteArray documentWith(const char* margin, const char* extra = "")
{
    return QByteArray(R"({"schemaVersion": 2, "showInDockIcon": false, "analyticsOptIn": false,)") + extra +
           R"( "proSettings": {"globalGrid": {"columns": 3, "rows": 2}, "perDisplayMode": false,)"
           R"( "perDisplayGrids": {"overrides": {}}, "margin": )" +
           margin + "}}";
}

std::string failureOf(const QByteArray& bytes)
{
    const auto decoded = PreferencesJson::decode(bytes);
    return decoded ? "decoded" : decoded.error().description.toStdString();
}

} // namespace

TEST(PreferencesJson, WritesTheExactSortedPrettyPrintedLayout)
{
    EXPECT_EQ(PreferencesJson::encode(Preferences::defaults()), QByteArray(R"({
  "analyticsOptIn" : false,
  "proSettings" : {
    "globalGrid" : {
      "columns" : 3,
      "rows" : 2
    },
    "margin" : 0,
    "perDisplayGrids" : {
      "overrides" : {

      }
    },
    "perDisplayMode" : false
  },
  "schemaVersion" : 2,
  "showInDockIcon" : false
})"));

    Preferences prefs;
    prefs.showInDockIcon = true;
    prefs.highlightedRegionTintHex = QStringLiteral("#FF8800/80");
    prefs.lastSeenAppVersion = QStringLiteral("1.4.2");
    prefs.proSettings.margin = 12;
    prefs.proSettings.perDisplayGrids.overrides = {{QStringLiteral("built-in"), {2, 1}},
                                                   {QStringLiteral("LG"), {6, 4}}};
    const QByteArray bytes = PreferencesJson::encode(prefs);
    EXPECT_TRUE(bytes.startsWith(R"({
  "analyticsOptIn" : false,
  "highlightedRegionTintHex" : "#FF8800\/80",
  "lastSeenAppVersion" : "1.4.2",)"));
    EXPECT_TRUE(bytes.contains(R"("margin" : 12,
    "perDisplayGrids" : {
      "overrides" : {
        "LG" : {
          "columns" : 6,
          "rows" : 4
        },
        "built-in" : {)"));
    EXPECT_TRUE(bytes.endsWith("\"showInDockIcon\" : true\n}"));
    EXPECT_EQ(PreferencesJson::decode(bytes).valueOr({}), prefs);

    prefs.lastSeenAppVersion = QString::fromUtf8("\"\\\n\r\t\b\f\x01\x1f\x7fé😀");
    EXPECT_TRUE(PreferencesJson::encode(prefs).contains(R"("\"\\\n\r\t\b\f\u0001\u001f)"
                                                        "\x7f"
                                                        "é😀\""));
    EXPECT_EQ(PreferencesJson::decode(PreferencesJson::encode(prefs)).valueOr({}), prefs);
}

TEST(PreferencesJson, DecodesStrictlyByType)
{
    auto decoded =
        PreferencesJson::decode(documentWith("9223372036854775807", R"( "new": [1], "lastSeenAppVersion": null,)"));
    ASSERT_TRUE(decoded) << decoded.error().description.toStdString();
    EXPECT_EQ(decoded->proSettings.margin, INT64_MAX);
    EXPECT_EQ(decoded->lastSeenAppVersion, std::nullopt);
    EXPECT_EQ(PreferencesJson::decode(documentWith("4.0")).valueOr({}).proSettings.margin, 4);

    const std::string notWhole = R"("proSettings.margin" is not a whole number in the 64-bit range)";
    EXPECT_EQ(failureOf(documentWith("2.5")), notWhole);
    EXPECT_EQ(failureOf(documentWith("9223372036854775808")), notWhole);
    EXPECT_EQ(failureOf(documentWith(R"("2")")), R"("proSettings.margin" is not a number)");
    EXPECT_EQ(failureOf(documentWith("0", R"( "analyticsOptIn": 1,)")), R"("analyticsOptIn" is not a boolean)");
    EXPECT_EQ(failureOf(documentWith("0", R"( "highlightedRegionTintHex": 255,)")),
              R"("highlightedRegionTintHex" is not a string)");
    EXPECT_EQ(failureOf(QByteArray(documentWith("0")).replace("{}", R"({"A": {"columns": 4}})")),
              R"(required key "proSettings.perDisplayGrids.overrides.A.rows" is missing)");
    for (const char* key : {"schemaVersion", "showInDockIcon", "analyticsOptIn", "proSettings", "globalGrid", "columns",
                            "rows", "perDisplayMode", "perDisplayGrids", "overrides", "margin"}) {
        const QByteArray broken = documentWith("0").replace(QByteArray("\"") + key + "\"", "\"renamed\"");
        EXPECT_NE(failureOf(broken).find("is missing"), std::string::npos) << key;
    }
    EXPECT_EQ(failureOf("[]"), "the top level is not a JSON object");

    EXPECT_EQ(PreferencesJson::decodeProbe(R"({"schemaVersion": 7, "x": "y"})").valueOr({}).schemaVersion, 7);
    for (const char* bad : {R"({"schemaVersion": "2"})", R"({"schemaVersion": 1.5})", R"([{"schemaVersion": 2}])", "{"})
        EXPECT_FALSE(PreferencesJson::decodeProbe(bad)) << bad;
}

TEST(PreferencesSanitizing, ClampsTheGlobalGridAndMarginOnly)
{
    Preferences prefs;
    prefs.proSettings.globalGrid = {0, 50};
    prefs.proSettings.margin = -5;
    prefs.proSettings.perDisplayGrids.overrides[QStringLiteral("Alpha")] = {40, 0};
    Preferences expected = prefs;
    expected.proSettings.globalGrid = {1, 20};
    expected.proSettings.margin = 0;
    EXPECT_EQ(prefs.sanitized(), expected);

    prefs.proSettings.globalGrid = {31, 0};
    prefs.proSettings.margin = 100;
    EXPECT_EQ(prefs.sanitized().proSettings.globalGrid, (GridDimensions{30, 1}));
    EXPECT_EQ(prefs.sanitized().proSettings.margin, 64);
}
