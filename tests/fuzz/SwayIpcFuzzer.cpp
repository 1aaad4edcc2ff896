// What sway's socket may deliver: a byte stream cut into frames at arbitrary read boundaries,
// and every payload read as each kind of reply the backend asks for; and configuration text with
// includes, as the user may have written it.

#include "FuzzInput.h"

#include "Platform/Wayland/Sway/SwayConfig.h"
#include "Platform/Wayland/Sway/SwayProtocol.h"

#include <cmath>

using namespace mosaro;

namespace {

bool finite(const Rect& r)
{
    return std::isfinite(r.x) && std::isfinite(r.y) && std::isfinite(r.width) && std::isfinite(r.height) &&
           r.width >= 0 && r.height >= 0;
}

void readReplies(const QByteArray& payload, std::int64_t id)
{
    if (const auto window = Sway::focusedWindow(payload))
        MOSARO_FUZZ_CHECK(finite(window->rect) && window->id >= 0);
    if (const auto window = Sway::windowById(payload, id))
        MOSARO_FUZZ_CHECK(window->id == id && finite(window->frame()));
    if (const auto list = Sway::outputs(payload))
        for (const auto& output : *list)
            MOSARO_FUZZ_CHECK(!output.name.isEmpty() && finite(output.rect) && output.scale > 0);
    if (const auto list = Sway::workspaces(payload))
        for (const auto& workspace : *list)
            MOSARO_FUZZ_CHECK(finite(workspace.rect));
    (void)Sway::commandResults(payload);
    (void)Sway::subscribed(payload);
    (void)Sway::configText(payload);
    (void)Sway::bindingCommand(payload);
}

} // namespace

// NOLINTNEXTLINE(readability-identifier-naming): the name libFuzzer calls
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::FuzzInput in(data, size);
    const auto mode = in.take<std::uint8_t>();
    const auto id = std::int64_t(in.take<std::uint8_t>());
    if (mode % 4 == 3) {
        // Configuration text whose includes name more of the input.
        const QString main = QString::fromUtf8(in.bytes(4096));
        const QString included = QString::fromUtf8(in.rest());
        Sway::ConfigFiles files;
        files.read = [&](const QString&) -> std::optional<QString> { return included; };
        files.glob = [](const QString& pattern) { return QStringList{pattern + QStringLiteral("2")}; };
        files.environment = [](const QString&) { return QStringLiteral("/h"); };
        for (const auto& binding : Sway::scanConfig(main, QStringLiteral("/c/config"), files))
            MOSARO_FUZZ_CHECK(!binding.combination.isEmpty());
        return 0;
    }
    if (mode % 4 == 2) {
        readReplies(in.rest(), id);
        return 0;
    }
    // A stream fed in pieces of the input's choosing; each frame is read as every reply.
    Sway::FrameReader reader;
    while (!in.empty()) {
        reader.feed(in.bytes(1024));
        Sway::Frame frame;
        Sway::FrameReader::Status status;
        while ((status = reader.next(frame)) == Sway::FrameReader::Status::frame) {
            MOSARO_FUZZ_CHECK(std::uint32_t(frame.payload.size()) <= Sway::maxPayloadSize);
            readReplies(frame.payload, id);
        }
        if (status == Sway::FrameReader::Status::corrupt)
            break;
    }
    return 0;
}
