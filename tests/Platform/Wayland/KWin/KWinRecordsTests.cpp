#include "Platform/Wayland/KWin/KWinRecords.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QKeySequence>

#include <gtest/gtest.h>

using namespace mosaro;

namespace {

QJsonValue json(const char* text)
{
    return QJsonDocument::fromJson(QByteArray("[") + text + "]").array().first();
}

// A window record missing what a placement needs, or with a frame that is not one, is no window.
TEST(KWinRecords, HostileRecordsReadAsNothing)
{
    const auto good = KWin::window(json(R"({"id":"{1}","caption":"t","pid":42,"frame":{"x":10,"y":20,"width":700,
        "height":537},"fullScreen":false,"minimized":false,"resizeable":true,"moveable":true,"output":0})"));
    ASSERT_TRUE(good);
    EXPECT_EQ(good->frame, (Rect{10, 20, 700, 537}));
    EXPECT_TRUE(good->resizeable && good->moveable);
    struct Row {
        const char* name;
        const char* record;
    };
    const Row rows[] = {
        {"not an object", R"("window")"},
        {"no id", R"({"pid":1,"frame":{"x":0,"y":0,"width":1,"height":1}})"},
        {"no pid", R"({"id":"a","frame":{"x":0,"y":0,"width":1,"height":1}})"},
        {"a frame of text", R"({"id":"a","pid":1,"frame":{"x":"0","y":0,"width":1,"height":1}})"},
        {"a negative size", R"({"id":"a","pid":1,"frame":{"x":0,"y":0,"width":-5,"height":1}})"},
        {"a frame past any layout", R"({"id":"a","pid":1,"frame":{"x":1e300,"y":0,"width":1,"height":1}})"},
    };
    for (const Row& row : rows)
        EXPECT_FALSE(KWin::window(json(row.record))) << row.name;

    EXPECT_EQ(KWin::outputs(json(R"([{"frame":{"x":0,"y":0,"width":1440,"height":900},
        "visible":{"x":0,"y":40,"width":1440,"height":860},"model":"DELL U2720Q"}])"))
                  ->front()
                  .model,
              QStringLiteral("DELL U2720Q"));
    EXPECT_FALSE(KWin::outputs(json(R"([{"frame":{"x":0,"y":0,"width":0,"height":900},
        "visible":{"x":0,"y":0,"width":0,"height":900}}])")));
    EXPECT_FALSE(KWin::outputs(json(R"({"outputs":1})")));
}

// KDE's own shortcuts as kglobalshortcutsrc writes them: active keys first (several tab-separated,
// "none", an escaped comma), defaults, then the name people see; Mosaro's own entries left out.
TEST(KWinRecords, FindsKDEsBindingsOfAKey)
{
    const QString file =
        QStringLiteral("[kwin]\n"
                       "_k_friendly_name=KWin\n"
                       "Window to Next Screen=Meta+Shift+Right,Meta+Shift+Right,Window to Next Screen\n"
                       "Switch One Desktop Down=,Meta+Ctrl+Down,Switch One Desktop Down\n"
                       "Mosaro 1=Meta+Return,none,Mosaro: shortcut 1\n"
                       "[plasmashell]\n"
                       "_k_friendly_name=Plasma\n"
                       "zoom in=Meta++\\tMeta+=,Meta++,Zoom In\n"
                       "comma=Meta+\\,,none,Comma\n");
    struct Row {
        const char* keys;
        QStringList found;
    };
    const Row rows[] = {
        {"Meta+Shift+Right", {QStringLiteral("Window to Next Screen (KWin)")}},
        {"Meta+Ctrl+Down", {}}, // a default only: not bound
        {"Meta+Return", {}},    // Mosaro's own
        {"Meta+=", {QStringLiteral("Zoom In (Plasma)")}},
        {"Meta+,", {QStringLiteral("Comma (Plasma)")}},
    };
    for (const Row& row : rows) {
        const int key = QKeySequence::fromString(QLatin1String(row.keys), QKeySequence::PortableText)[0].toCombined();
        EXPECT_EQ(KWin::actionsHolding(file, key, QStringLiteral("Mosaro ")), row.found) << row.keys;
    }
}

} // namespace
