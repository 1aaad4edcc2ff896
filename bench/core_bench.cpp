// Figures for the hot paths of an overlay session: key decoding and applying, frame
// computation, and the preferences file read on every showing. Prints; asserts nothing.

#include "Grid/GridLayout.h"
#include "Overlay/OverlayDrawing.h"
#include "Overlay/OverlayKeyDecoder.h"
#include "Overlay/OverlayViewModel.h"
#include "Overlay/UI/OverlayFrame.h"
#include "Overlay/UI/OverlayRenderer.h"
#include "Preferences/PreferencesFile.h"
#include "Preferences/PreferencesJson.h"

#include <QTemporaryDir>

#include <chrono>
#include <cstdio>
#include <sys/resource.h>

using namespace mosaro;

namespace {

template <class F>
double nanosecondsPerCall(int calls, F&& f)
{
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < calls; ++i)
        f(i);
    const auto elapsed = std::chrono::steady_clock::now() - start;
    return double(std::chrono::duration_cast<std::chrono::nanoseconds>(elapsed).count()) / calls;
}

// Takes the drawing and throws it away: what is left is the renderer's own work (the server
// does the fills and puts the tiles).
class DiscardingSurface : public OverlaySurface {
public:
    DiscardingSurface(QSize size, Mode mode) : m_size(size), m_mode(mode) {}
    Mode mode() const override { return m_mode; }
    QSize size() const override { return m_size; }
    const std::optional<OverlayFrame>& contents() const override { return m_contents; }
    void setContents(std::optional<OverlayFrame> frame) override { m_contents = std::move(frame); }
    void fillRects(const std::vector<QRect>& rects, QRgb) override { requests += int(rects.size()); }
    void putImage(const QImage& image, QPoint) override { tilePixels += double(image.width()) * image.height(); }
    void setOutline(const QRegion& lines, QRgb, const QRegion& outline, QRgb) override
    {
        requests += lines.rectCount() + outline.rectCount();
    }
    int requests = 0;
    double tilePixels = 0;

private:
    QSize m_size;
    Mode m_mode;
    std::optional<OverlayFrame> m_contents;
};

class BenchScreen : public Screen {
public:
    Rect frame() const override { return {0, 0, 2560, 1440}; }
    Rect visibleFrame() const override { return {0, 0, 2560, 1415}; }
    QString localizedName() const override { return QStringLiteral("Bench"); }
    double backingScaleFactor() const override { return 1; }
};

} // namespace

int main()
{
    volatile double sink = 0;

    const std::uint16_t keys[] = {123, 124, 125, 126};
    const std::uint64_t flags[] = {0, 0x20000, 0x80000};
    const double decode = nanosecondsPerCall(200000, [&](int i) {
        const auto input = decodeOverlayKey(keys[i % 4], flags[i % 3]);
        sink = sink + (input ? double(input->kind) : 0);
    });
    std::printf("decode one key (no recorded shortcuts store configured): %8.1f ns\n", decode);

    OverlayViewModel vm;
    FocusedWindow window;
    window.isResizable = true;
    vm.setPresentation(OverlayPresentation{DisplayRegion{std::make_shared<BenchScreen>()}, window,
                                           GridLayout{12, 8, {0, 0, 2560, 1415}, 8}, initialSelection({12, 8})});
    const OverlayInput inputs[] = {OverlayInput::navigate(Direction::left), OverlayInput::extend(Direction::down),
                                   OverlayInput::navigate(Direction::right), OverlayInput::extend(Direction::up)};
    const double apply = nanosecondsPerCall(200000, [&](int i) { vm.apply(inputs[i % 4]); });
    std::printf("apply one move to the presentation:                       %8.1f ns\n", apply);

    const GridLayout layout{GridLayout::maxColumns, GridLayout::maxRows, {0, 25, 2560, 1415}, 7};
    const double frame = nanosecondsPerCall(200000, [&](int i) {
        const HighlightedRegion r{{i % 30, i % 20}, {(i * 7) % 30, (i * 3) % 20}};
        sink = sink + layout.frameFor(r).width;
    });
    std::printf("frame of a region on a 30 x 20 grid:                      %8.1f ns\n", frame);

    // One step of the highlight's glide from one cell to the next on 3 x 2 at 1920 x 1080, as the
    // first step after an arrow key draws it.
    for (const auto mode : {OverlaySurface::Mode::translucent, OverlaySurface::Mode::outline}) {
        const QSize size(1920, 1080);
        const Rect bounds{0, 0, 1920, 1080};
        OverlayViewModel glide;
        glide.setPresentation(OverlayPresentation{DisplayRegion{std::make_shared<BenchScreen>()}, window,
                                                  GridLayout{3, 2, bounds, 0}, HighlightedRegion::single({1, 1})});
        OverlayFrame from = overlayFrame(*glide.presentation(), size);
        glide.apply(OverlayInput::navigate(Direction::right));
        const Rect to = overlayFrame(*glide.presentation(), size).highlight;
        DiscardingSurface surface(size, mode);
        OverlayRenderer renderer(QColor(48, 140, 198));
        renderer.draw(surface, from, true);
        OverlayFrame step = from;
        step.highlight = interpolatedRect(from.highlight, to, 0.2);
        const double draw = nanosecondsPerCall(400, [&](int) {
            surface.setContents(from);
            (void)renderer.draw(surface, step, false);
        });
        std::printf("draw the first step of a glide, %-12s 1920 x 1080:   %8.1f us\n",
                    mode == OverlaySurface::Mode::translucent ? "translucent," : "outline,", draw / 1000);
    }

    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("Mosaro/preferences.json"));
    Preferences prefs;
    for (int i = 0; i < 16; ++i)
        prefs.proSettings.perDisplayGrids.overrides[QStringLiteral("Display %1").arg(i)] = {4, 3};
    const double save = nanosecondsPerCall(500, [&](int) { (void)savePreferences(prefs, path); });
    std::printf("save preferences.json (16 overrides, atomic write):       %8.1f us\n", save / 1000);
    const double load =
        nanosecondsPerCall(2000, [&](int) { sink = sink + double(loadPreferences(path)->schemaVersion); });
    std::printf("load preferences.json (read on every showing):            %8.1f us\n", load / 1000);

    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    std::printf("peak resident memory of this run:                         %8.1f MiB\n", usage.ru_maxrss / 1024.0);
    return sink < 0 ? 1 : 0;
}
