#pragma once

#include "Platform/Geometry.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

// sway's IPC as pure functions over bytes: the framing ("i3-ipc", a 32-bit length, a 32-bit type,
// then JSON) and readers of the replies and events Mosaro uses. Everything here comes from another
// process, so every reader treats its input as hostile: a wrong shape logs one line in the
// windowmanager category and gives nothing (or what is safe), never a crash or an unbounded
// allocation.
namespace mosaro::Sway {

namespace MessageType {
inline constexpr std::uint32_t runCommand = 0;
inline constexpr std::uint32_t getWorkspaces = 1;
inline constexpr std::uint32_t subscribe = 2;
inline constexpr std::uint32_t getOutputs = 3;
inline constexpr std::uint32_t getTree = 4;
inline constexpr std::uint32_t getVersion = 7;
inline constexpr std::uint32_t getConfig = 9;
} // namespace MessageType

// Event types have the high bit set.
namespace EventType {
inline constexpr std::uint32_t workspace = 0x80000000;
inline constexpr std::uint32_t output = 0x80000001;
inline constexpr std::uint32_t window = 0x80000003;
inline constexpr std::uint32_t binding = 0x80000005;
inline constexpr std::uint32_t shutdown = 0x80000006;
} // namespace EventType

inline constexpr std::size_t headerSize = 14;
// A tree of a few hundred windows is well under a megabyte; anything past this is not sway.
inline constexpr std::uint32_t maxPayloadSize = 16u << 20;

QByteArray encodeMessage(std::uint32_t type, const QByteArray& payload);

struct Frame {
    std::uint32_t type = 0;
    QByteArray payload;
};

// Cuts a byte stream into frames. A wrong magic or an oversized length poisons the stream: the
// connection has to be dropped, since nothing after it can be trusted to start a frame.
class FrameReader {
public:
    enum class Status {
        needMore,
        frame,
        corrupt
    };
    void feed(const char* data, std::size_t size);
    void feed(const QByteArray& bytes) { feed(bytes.constData(), std::size_t(bytes.size())); }
    Status next(Frame& out);
    const QString& error() const { return m_error; }
    void reset();

private:
    QByteArray m_buffer;
    QString m_error;
};

// One container (a window) as the tree describes it.
struct Container {
    std::int64_t id = 0;
    std::int32_t pid = 0;
    QString type; // "con" or "floating_con"
    QString appId;
    QString name;
    Rect rect;               // layout pixels, y down; leaves the title bar out
    double decoHeight = 0;   // the title bar above rect
    bool fullscreen = false; // fullscreen_mode 1 (output) or 2 (global)
    bool focused = false;
    bool floating() const { return type == QLatin1String("floating_con"); }
    // What a person sees as the window: rect grown upward by the title bar.
    Rect frame() const { return {rect.x, rect.y - decoHeight, rect.width, rect.height + decoHeight}; }
    friend bool operator==(const Container&, const Container&) = default;
};

struct Output {
    QString name;
    QString make;
    QString model;
    Rect rect;
    double scale = 1;
    bool active = false;
    QString currentWorkspace;
    friend bool operator==(const Output&, const Output&) = default;
};

struct Workspace {
    QString name;
    QString output;
    Rect rect; // the area the output's bars leave
    bool visible = false;
    bool focused = false;
    friend bool operator==(const Workspace&, const Workspace&) = default;
};

struct CommandResult {
    bool success = false;
    QString error;
};

// The focused window of a get_tree reply. Absent when the focus is on a workspace or output
// (nothing to tile) and when the reply is not a tree (logged).
std::optional<Container> focusedWindow(const QByteArray& tree);
// The window with the given container id, wherever it is.
std::optional<Container> windowById(const QByteArray& tree, std::int64_t id);

// get_outputs and get_workspaces; nothing (logged) when the reply is not such a list. Entries
// without a name or a usable rect are left out (logged once per reply).
std::optional<std::vector<Output>> outputs(const QByteArray& reply);
std::optional<std::vector<Workspace>> workspaces(const QByteArray& reply);

// run_command: one result per command; nothing when the reply is not a list of results.
std::optional<std::vector<CommandResult>> commandResults(const QByteArray& reply);
// subscribe: {"success": true}.
bool subscribed(const QByteArray& reply);
// get_config's text and get_version's loaded_config_file_name.
std::optional<QString> configText(const QByteArray& reply);
std::optional<QString> loadedConfigPath(const QByteArray& reply);
// get_version's human_readable, as far as its first space.
std::optional<QString> versionText(const QByteArray& reply);

// The "change" of an event, and for binding events the command that ran.
QString eventChange(const QByteArray& event);
std::optional<QString> bindingCommand(const QByteArray& event);

// The container of a window event; the first child in the focus order of a workspace event's
// current workspace (the window that has the focus there).
std::optional<Container> eventContainer(const QByteArray& event);
std::optional<std::int64_t> focusedChildOfCurrent(const QByteArray& event);

// Text for a command: a double-quoted argument with quotes and backslashes escaped.
QString quoted(const QString& argument);
// A criteria value matching exactly this title, quoted: `title=<this>`.
QString exactTitle(const QString& title);

} // namespace mosaro::Sway
