#include "Platform/Wayland/Sway/SwayProtocol.h"

#include "Diagnostics/Log/Log.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtEndian>

#include <cmath>
#include <cstring>

namespace mosaro::Sway {

namespace {

constexpr char magic[] = "i3-ipc";
constexpr std::size_t magicSize = 6;
constexpr const char* malformedMessage = "sway IPC: unexpected %{public}s reply: %{public}s";
// Layout coordinates far past any real arrangement are taken for garbage.
constexpr double coordinateLimit = 1e6;

void malformed(const char* what, const QString& why)
{
    Log::windowmanager().error(malformedMessage, QString::fromLatin1(what), why);
}

std::optional<QJsonDocument> parse(const QByteArray& bytes, const char* what)
{
    QJsonParseError error;
    QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError) {
        malformed(what, error.errorString());
        return std::nullopt;
    }
    return document;
}

std::optional<Rect> readRect(const QJsonValue& value)
{
    if (!value.isObject())
        return std::nullopt;
    const QJsonObject o = value.toObject();
    Rect r;
    double* fields[] = {&r.x, &r.y, &r.width, &r.height};
    const char* names[] = {"x", "y", "width", "height"};
    for (int i = 0; i < 4; ++i) {
        const QJsonValue v = o.value(QLatin1String(names[i]));
        if (!v.isDouble() || !std::isfinite(v.toDouble()) || std::abs(v.toDouble()) > coordinateLimit)
            return std::nullopt;
        *fields[i] = v.toDouble();
    }
    if (r.width < 0 || r.height < 0)
        return std::nullopt;
    return r;
}

bool isWindow(const QJsonObject& node)
{
    const QString type = node.value(QLatin1String("type")).toString();
    return type == QLatin1String("con") || type == QLatin1String("floating_con");
}

// A window needs its id and both rectangles; without them it cannot be placed.
std::optional<Container> readContainer(const QJsonObject& node)
{
    const QJsonValue id = node.value(QLatin1String("id"));
    const auto rect = readRect(node.value(QLatin1String("rect")));
    const auto deco = readRect(node.value(QLatin1String("deco_rect")));
    if (!id.isDouble() || id.toDouble() < 0 || id.toDouble() > 9.0e15 || !rect || !deco)
        return std::nullopt;
    Container c;
    c.id = std::int64_t(id.toDouble());
    const double pid = node.value(QLatin1String("pid")).toDouble(0);
    c.pid = pid > 0 && pid < 4.2e9 ? std::int32_t(std::int64_t(pid)) : 0;
    c.type = node.value(QLatin1String("type")).toString();
    c.appId = node.value(QLatin1String("app_id")).toString();
    c.name = node.value(QLatin1String("name")).toString();
    c.rect = *rect;
    c.decoHeight = deco->height;
    c.fullscreen = node.value(QLatin1String("fullscreen_mode")).toInt(0) != 0;
    c.focused = node.value(QLatin1String("focused")).toBool(false);
    return c;
}

// Walks the tree without recursion, depth first, and stops at the first node the test accepts.
// `found` tells whether a node was accepted; a malformed tree logs and finds nothing.
template <class Accept>
std::optional<Container> findWindow(const QByteArray& tree, Accept accept, bool* found)
{
    *found = false;
    const auto document = parse(tree, "get_tree");
    if (!document)
        return std::nullopt;
    if (!document->isObject() || !document->object().value(QLatin1String("nodes")).isArray()) {
        malformed("get_tree", QStringLiteral("the root is not a node with children"));
        return std::nullopt;
    }
    std::vector<QJsonObject> stack{document->object()};
    while (!stack.empty()) {
        const QJsonObject node = std::move(stack.back());
        stack.pop_back();
        if (accept(node)) {
            *found = true;
            if (!isWindow(node))
                return std::nullopt;
            auto container = readContainer(node);
            if (!container)
                malformed("get_tree", QStringLiteral("the window lacks an id or a rect"));
            return container;
        }
        for (const char* children : {"floating_nodes", "nodes"}) {
            const QJsonArray list = node.value(QLatin1String(children)).toArray();
            for (auto it = list.end(); it != list.begin();) {
                --it;
                if (it->isObject())
                    stack.push_back(it->toObject());
            }
        }
    }
    return std::nullopt;
}

template <class T, class Read>
std::optional<std::vector<T>> readList(const QByteArray& reply, const char* what, Read read)
{
    const auto document = parse(reply, what);
    if (!document)
        return std::nullopt;
    if (!document->isArray()) {
        malformed(what, QStringLiteral("not a list"));
        return std::nullopt;
    }
    std::vector<T> list;
    bool skipped = false;
    for (const auto& entry : document->array()) {
        auto item = entry.isObject() ? read(entry.toObject()) : std::nullopt;
        if (item)
            list.push_back(std::move(*item));
        else
            skipped = true;
    }
    if (skipped)
        malformed(what, QStringLiteral("entries without a name or a rect were left out"));
    return list;
}

std::optional<QJsonObject> object(const QByteArray& reply, const char* what)
{
    const auto document = parse(reply, what);
    if (!document)
        return std::nullopt;
    if (!document->isObject()) {
        malformed(what, QStringLiteral("not an object"));
        return std::nullopt;
    }
    return document->object();
}

} // namespace

QByteArray encodeMessage(std::uint32_t type, const QByteArray& payload)
{
    QByteArray bytes(magic, int(magicSize));
    char numbers[8];
    qToLittleEndian<std::uint32_t>(std::uint32_t(payload.size()), numbers);
    qToLittleEndian<std::uint32_t>(type, numbers + 4);
    bytes.append(numbers, 8);
    bytes.append(payload);
    return bytes;
}

void FrameReader::feed(const char* data, std::size_t size)
{
    m_buffer.append(data, qsizetype(size));
}

void FrameReader::reset()
{
    m_buffer.clear();
    m_error.clear();
}

FrameReader::Status FrameReader::next(Frame& out)
{
    if (!m_error.isEmpty())
        return Status::corrupt;
    if (std::size_t(m_buffer.size()) < headerSize) {
        // A wrong magic shows in the first bytes already.
        if (std::memcmp(m_buffer.constData(), magic, std::min<std::size_t>(magicSize, m_buffer.size())) != 0)
            m_error = QStringLiteral("a message does not start with i3-ipc");
        return m_error.isEmpty() ? Status::needMore : Status::corrupt;
    }
    if (std::memcmp(m_buffer.constData(), magic, magicSize) != 0) {
        m_error = QStringLiteral("a message does not start with i3-ipc");
        return Status::corrupt;
    }
    const auto length = qFromLittleEndian<std::uint32_t>(m_buffer.constData() + magicSize);
    if (length > maxPayloadSize) {
        m_error = QStringLiteral("a message claims %1 bytes").arg(length);
        return Status::corrupt;
    }
    if (std::size_t(m_buffer.size()) < headerSize + length)
        return Status::needMore;
    out.type = qFromLittleEndian<std::uint32_t>(m_buffer.constData() + magicSize + 4);
    out.payload = m_buffer.mid(qsizetype(headerSize), qsizetype(length));
    m_buffer.remove(0, qsizetype(headerSize) + qsizetype(length));
    return Status::frame;
}

std::optional<Container> focusedWindow(const QByteArray& tree)
{
    bool found = false;
    return findWindow(
        tree, [](const QJsonObject& node) { return node.value(QLatin1String("focused")).toBool(false); }, &found);
}

std::optional<Container> windowById(const QByteArray& tree, std::int64_t id)
{
    bool found = false;
    return findWindow(
        tree,
        [id](const QJsonObject& node) {
            const QJsonValue v = node.value(QLatin1String("id"));
            return isWindow(node) && v.isDouble() && std::int64_t(v.toDouble()) == id;
        },
        &found);
}

std::optional<std::vector<Output>> outputs(const QByteArray& reply)
{
    return readList<Output>(reply, "get_outputs", [](const QJsonObject& o) -> std::optional<Output> {
        const QString name = o.value(QLatin1String("name")).toString();
        const bool active = o.value(QLatin1String("active")).toBool(false);
        const auto rect = readRect(o.value(QLatin1String("rect")));
        if (name.isEmpty() || !rect || (active && (rect->width <= 0 || rect->height <= 0)))
            return std::nullopt;
        Output out;
        out.name = name;
        out.make = o.value(QLatin1String("make")).toString();
        out.model = o.value(QLatin1String("model")).toString();
        out.rect = *rect;
        const double scale = o.value(QLatin1String("scale")).toDouble(1);
        out.scale = std::isfinite(scale) && scale > 0 && scale <= 16 ? scale : 1;
        out.active = active;
        out.currentWorkspace = o.value(QLatin1String("current_workspace")).toString();
        return out;
    });
}

std::optional<std::vector<Workspace>> workspaces(const QByteArray& reply)
{
    return readList<Workspace>(reply, "get_workspaces", [](const QJsonObject& o) -> std::optional<Workspace> {
        const auto rect = readRect(o.value(QLatin1String("rect")));
        const QString output = o.value(QLatin1String("output")).toString();
        if (!rect || output.isEmpty())
            return std::nullopt;
        return Workspace{o.value(QLatin1String("name")).toString(), output, *rect,
                         o.value(QLatin1String("visible")).toBool(false),
                         o.value(QLatin1String("focused")).toBool(false)};
    });
}

std::optional<std::vector<CommandResult>> commandResults(const QByteArray& reply)
{
    return readList<CommandResult>(reply, "run_command", [](const QJsonObject& o) -> std::optional<CommandResult> {
        const QJsonValue success = o.value(QLatin1String("success"));
        if (!success.isBool())
            return std::nullopt;
        return CommandResult{success.toBool(), o.value(QLatin1String("error")).toString()};
    });
}

bool subscribed(const QByteArray& reply)
{
    const auto o = object(reply, "subscribe");
    return o && o->value(QLatin1String("success")).toBool(false);
}

std::optional<QString> configText(const QByteArray& reply)
{
    const auto o = object(reply, "get_config");
    if (!o)
        return std::nullopt;
    if (!o->value(QLatin1String("config")).isString()) {
        malformed("get_config", QStringLiteral("no config text"));
        return std::nullopt;
    }
    return o->value(QLatin1String("config")).toString();
}

std::optional<QString> loadedConfigPath(const QByteArray& reply)
{
    const auto o = object(reply, "get_version");
    if (!o)
        return std::nullopt;
    const QString path = o->value(QLatin1String("loaded_config_file_name")).toString();
    if (path.isEmpty())
        return std::nullopt;
    return path;
}

std::optional<QString> versionText(const QByteArray& reply)
{
    const auto o = object(reply, "get_version");
    if (!o)
        return std::nullopt;
    // "1.7", "1.10"; a build's extra words after the number are left out.
    const QString version = o->value(QLatin1String("human_readable")).toString().section(QLatin1Char(' '), 0, 0);
    if (version.isEmpty())
        return std::nullopt;
    return version.left(40);
}

QString eventChange(const QByteArray& event)
{
    const QJsonDocument document = QJsonDocument::fromJson(event);
    return document.object().value(QLatin1String("change")).toString();
}

std::optional<QString> bindingCommand(const QByteArray& event)
{
    const QJsonObject binding = QJsonDocument::fromJson(event).object().value(QLatin1String("binding")).toObject();
    const QJsonValue command = binding.value(QLatin1String("command"));
    if (!command.isString())
        return std::nullopt;
    return command.toString();
}

std::optional<Container> eventContainer(const QByteArray& event)
{
    const QJsonValue container = QJsonDocument::fromJson(event).object().value(QLatin1String("container"));
    return container.isObject() ? readContainer(container.toObject()) : std::nullopt;
}

std::optional<std::int64_t> focusedChildOfCurrent(const QByteArray& event)
{
    const QJsonArray focus = QJsonDocument::fromJson(event)
                                 .object()
                                 .value(QLatin1String("current"))
                                 .toObject()
                                 .value(QLatin1String("focus"))
                                 .toArray();
    if (focus.isEmpty() || !focus.first().isDouble())
        return std::nullopt;
    return std::int64_t(focus.first().toDouble());
}

QString exactTitle(const QString& title)
{
    // sway's criteria are PCRE and reach it through two rounds of unquoting; a character the
    // pattern would read as an operator is matched by "any character" instead of an escape.
    QString pattern = QStringLiteral("^");
    for (const QChar c : title)
        pattern += QStringLiteral(".^$*+?()[]{}|\\/\"").contains(c) ? QChar(u'.') : c;
    return quoted(pattern + QLatin1Char('$'));
}

QString quoted(const QString& argument)
{
    QString text = argument;
    text.replace(QLatin1Char('\\'), QLatin1String("\\\\"));
    text.replace(QLatin1Char('"'), QLatin1String("\\\""));
    return QLatin1Char('"') + text + QLatin1Char('"');
}

} // namespace mosaro::Sway
