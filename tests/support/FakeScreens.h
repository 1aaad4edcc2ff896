#pragma once

#include "Platform/Screen.h"

#include <memory>
#include <vector>

namespace mosaro::test {

class FakeScreen : public Screen {
public:
    FakeScreen(Rect frame, Rect visibleFrame, QString name, double scale = 1.0)
        : m_frame(frame), m_visible(visibleFrame), m_name(std::move(name)), m_scale(scale)
    {}
    Rect frame() const override { return m_frame; }
    Rect visibleFrame() const override { return m_visible; }
    QString localizedName() const override { return m_name; }
    double backingScaleFactor() const override { return m_scale; }

    Rect m_frame;
    Rect m_visible;
    QString m_name;
    double m_scale;
};

// A display list the test arranges; identity is kept by the shared objects.
class FakeScreens : public ScreenList {
public:
    std::shared_ptr<FakeScreen> add(Rect frame, Rect visibleFrame, QString name, double scale = 1.0)
    {
        auto screen = std::make_shared<FakeScreen>(frame, visibleFrame, std::move(name), scale);
        list.push_back(screen);
        return screen;
    }
    std::shared_ptr<FakeScreen> add(Rect frame, QString name) { return add(frame, frame, std::move(name)); }

    std::vector<ScreenRef> screens() const override { return {list.begin(), list.end()}; }
    ScreenRef mainScreen() const override { return main; }

    std::vector<std::shared_ptr<FakeScreen>> list;
    ScreenRef main;
};

} // namespace mosaro::test
