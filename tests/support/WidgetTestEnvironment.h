#pragma once

#include <QApplication>

#include <gtest/gtest.h>

#include <memory>

namespace mosaro::test {

// One QApplication for a test program of widgets, on the offscreen platform.
class WidgetTestEnvironment : public ::testing::Environment {
public:
    void SetUp() override
    {
        static int argc = 1;
        static char name[] = "mosaro-widget-tests";
        static char* argv[] = {name, nullptr};
        // Widget tests never need a display, whatever the environment offers.
        qputenv("QT_QPA_PLATFORM", "offscreen");
        m_app = std::make_unique<QApplication>(argc, argv);
    }
    void TearDown() override { m_app.reset(); }

private:
    std::unique_ptr<QApplication> m_app;
};

// Registers the environment once per test program: `MOSARO_WIDGET_TEST_ENVIRONMENT();` at file scope.
#define MOSARO_WIDGET_TEST_ENVIRONMENT()                                                                               \
    [[maybe_unused]] static ::testing::Environment* const mosaroWidgetEnvironment =                                    \
        ::testing::AddGlobalTestEnvironment(new ::mosaro::test::WidgetTestEnvironment)

} // namespace mosaro::test
