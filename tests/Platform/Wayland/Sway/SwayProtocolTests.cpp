#include "Platform/Wayland/Sway/SwayDesktop.h"
#include "Platform/Wayland/Sway/SwayProtocol.h"
#include "support/LogLines.h"

#include <gtest/gtest.h>

using namespace mosaro;
using namespace mosaro::Sway;

namespace {

QByteArray header(const char* magic, std::uint32_t length, std::uint32_t type)
{
    QByteArray bytes(magic, 6);
    for (std::uint32_t v : {length, type})
        for (int i = 0; i < 4; ++i)
            bytes.append(char((v >> (8 * i)) & 0xff));
    return bytes;
}

int malformedLines()
{
    return int(test::loggedMessages(QStringLiteral("windowmanager")).filter(QStringLiteral("sway IPC")).size());
}

TEST(SwayFraming, CutsAStreamIntoFramesAndRefusesWhatIsNotOne)
{
    const QByteArray two = encodeMessage(4, "{}") + encodeMessage(EventType::binding, "[1]");
    struct Row {
        const char* name;
        QByteArray bytes;
        std::vector<FrameReader::Status> expected;
    };
    const Row rows[] = {
        {"two frames at once",
         two,
         {FrameReader::Status::frame, FrameReader::Status::frame, FrameReader::Status::needMore}},
        {"half a header", two.left(9), {FrameReader::Status::needMore}},
        {"a header, half a payload", two.left(15), {FrameReader::Status::needMore}},
        {"wrong magic, seen early", QByteArray("i3-ipx"), {FrameReader::Status::corrupt}},
        {"wrong magic in a whole header", header("I3-IPC", 0, 0), {FrameReader::Status::corrupt}},
        {"a length past the bound", header("i3-ipc", maxPayloadSize + 1, 0), {FrameReader::Status::corrupt}},
        {"a length at the bound waits for its bytes",
         header("i3-ipc", maxPayloadSize, 0),
         {FrameReader::Status::needMore}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        FrameReader reader;
        // Byte by byte must give what one feed gives.
        for (bool piecewise : {false, true}) {
            reader.reset();
            if (piecewise)
                for (char c : row.bytes)
                    reader.feed(&c, 1);
            else
                reader.feed(row.bytes);
            std::vector<FrameReader::Status> got;
            Frame frame;
            for (std::size_t i = 0; i < row.expected.size(); ++i)
                got.push_back(reader.next(frame));
            EXPECT_EQ(got, row.expected);
        }
    }
    FrameReader reader;
    reader.feed(two);
    Frame frame;
    ASSERT_EQ(reader.next(frame), FrameReader::Status::frame);
    EXPECT_EQ(frame.type, 4u);
    EXPECT_EQ(frame.payload, QByteArray("{}"));
    ASSERT_EQ(reader.next(frame), FrameReader::Status::frame);
    EXPECT_EQ(frame.type, EventType::binding);
    EXPECT_EQ(frame.payload, QByteArray("[1]"));
}

QByteArray node(const char* type, int id, const char* rest = "", const char* children = "")
{
    return QStringLiteral(R"({"type":"%1","id":%2,"rect":{"x":480,"y":462,"width":480,"height":413},)"
                          R"("deco_rect":{"x":0,"y":0,"width":480,"height":25}%3,"nodes":[%4],"floating_nodes":[]})")
        .arg(QLatin1String(type))
        .arg(id)
        .arg(QLatin1String(rest), QLatin1String(children))
        .toUtf8();
}

TEST(SwayReplies, FindsTheFocusedWindowOrSafelyNothing)
{
    const QByteArray window =
        node("floating_con", 7, R"(,"focused":true,"pid":4242,"app_id":"foot","name":"~","fullscreen_mode":1)");
    const QByteArray workspace = node("workspace", 3, R"(,"focused":true)");
    struct Row {
        const char* name;
        QByteArray tree;
        bool found;
        int logLines;
    };
    const Row rows[] = {
        {"a focused floating window", node("root", 1, "", node("output", 2, "", node("workspace", 3, "", window))),
         true, 0},
        {"the focus on an empty workspace", node("root", 1, "", node("output", 2, "", workspace)), false, 0},
        {"no focus at all", node("root", 1), false, 0},
        {"not JSON", "{\"nodes\": [", false, 1},
        {"a list, not a node", "[]", false, 1},
        {"a focused window without a rect", node("root", 1, "", R"({"type":"con","id":9,"focused":true})"), false, 1},
        {"a negative size", node("root", 1, "", QByteArray(window).replace("\"height\":413", "\"height\":-4")), false,
         1},
        {"children that are not nodes", node("root", 1, "", R"(1,"x",null,[])"), false, 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Log::Store::shared().clear();
        EXPECT_EQ(focusedWindow(row.tree).has_value(), row.found);
        EXPECT_EQ(malformedLines(), row.logLines);
    }
    const auto focused = focusedWindow(rows[0].tree);
    ASSERT_TRUE(focused);
    EXPECT_EQ(focused->id, 7);
    EXPECT_EQ(focused->pid, 4242);
    EXPECT_EQ(focused->appId, QStringLiteral("foot"));
    EXPECT_TRUE(focused->floating());
    EXPECT_TRUE(focused->fullscreen);
    // The frame a person sees: the rect grown upward by the title bar.
    EXPECT_EQ(focused->frame(), (Rect{480, 437, 480, 438}));
    EXPECT_EQ(windowById(rows[0].tree, 7), focused);
    EXPECT_FALSE(windowById(rows[0].tree, 3)); // a workspace is no window
}

TEST(SwayReplies, ReadsOutputsWorkspacesAndCommandResults)
{
    const auto list = outputs(R"([{"name":"HDMI-A-1","make":"Dell","model":"U2720Q","active":true,"scale":2,
        "rect":{"x":0,"y":0,"width":1440,"height":900}},{"name":"","rect":{}},
        {"name":"DP-2","active":false,"rect":{"x":0,"y":0,"width":0,"height":0}}])");
    ASSERT_TRUE(list);
    ASSERT_EQ(list->size(), 2u);
    EXPECT_EQ((*list)[0].model, QStringLiteral("U2720Q"));
    EXPECT_EQ((*list)[0].scale, 2);
    EXPECT_FALSE((*list)[1].active);
    for (const char* broken : {"{}", "[", "\"x\""}) {
        EXPECT_FALSE(outputs(broken));
        EXPECT_FALSE(workspaces(broken));
        EXPECT_FALSE(commandResults(broken));
    }
    const auto spaces = workspaces(R"([{"name":"1","output":"HDMI-A-1","visible":true,
        "rect":{"x":0,"y":0,"width":1440,"height":875}}])");
    ASSERT_TRUE(spaces);
    EXPECT_EQ(spaces->at(0).rect, (Rect{0, 0, 1440, 875}));
    const auto results = commandResults(R"([{"success":true},{"success":false,"error":"No matching node"}])");
    ASSERT_TRUE(results);
    ASSERT_EQ(results->size(), 2u);
    EXPECT_FALSE(results->at(1).success);
    EXPECT_EQ(results->at(1).error, QStringLiteral("No matching node"));
    EXPECT_EQ(bindingCommand(R"({"change":"run","binding":{"command":"nop mosaro"}})"), QStringLiteral("nop mosaro"));
    EXPECT_EQ(eventChange(R"({"change":"reload"})"), QStringLiteral("reload"));
    EXPECT_EQ(quoted(QStringLiteral("a \"b\" \\")), QStringLiteral("\"a \\\"b\\\" \\\\\""));
}

// Displays are y-up from the output at the layout origin; the visible frame is the visible
// workspace's rect; the display key is the model, else the connector's name.
TEST(SwayReplies, DisplaysFromOutputsAndWorkspaces)
{
    auto output = [](const char* name, const char* model, Rect rect) {
        return Output{QLatin1String(name), {}, QLatin1String(model), rect, 1, true, {}};
    };
    const std::vector<Output> list = {output("DP-1", "", {1440, 0, 1920, 1080}),
                                      output("eDP-1", "Panel", {0, 0, 1440, 900})};
    const std::vector<Workspace> spaces = {{QStringLiteral("1"), QStringLiteral("eDP-1"), {0, 0, 1440, 875}, true},
                                           {QStringLiteral("2"), QStringLiteral("DP-1"), {1440, 0, 1, 1}, false}};
    const auto displays = SwayScreenList::displays(list, spaces);
    ASSERT_EQ(displays.size(), 2u);
    EXPECT_EQ(displays[0]->frame(), (Rect{1440, -180, 1920, 1080}));
    EXPECT_EQ(displays[0]->visibleFrame(), displays[0]->frame()); // its workspace is not visible yet
    EXPECT_EQ(displays[0]->localizedName(), QStringLiteral("DP-1"));
    EXPECT_EQ(displays[1]->frame(), (Rect{0, 0, 1440, 900}));
    EXPECT_EQ(displays[1]->visibleFrame(), (Rect{0, 25, 1440, 875}));
    EXPECT_EQ(displays[1]->localizedName(), QStringLiteral("Panel"));
}

} // namespace
