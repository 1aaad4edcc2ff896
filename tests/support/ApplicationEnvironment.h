#pragma once

#include <QCoreApplication>

#include <gtest/gtest.h>

#include <memory>
#include <type_traits>

namespace mosaro::test {

// One application object for a whole test program; widgets and windows on the offscreen platform,
// whatever the environment offers.
template <class Application>
class ApplicationEnvironment : public ::testing::Environment {
public:
    void SetUp() override
    {
        static int argc = 1;
        static char name[] = "mosaro-tests";
        static char* argv[] = {name, nullptr};
        // Only a GUI application needs the offscreen platform; a core one must not hand it to the
        // processes it starts (Mosaro on a compositor).
        if constexpr (!std::is_same_v<Application, QCoreApplication>)
            qputenv("QT_QPA_PLATFORM", "offscreen");
        m_app = std::make_unique<Application>(argc, argv);
    }
    void TearDown() override { m_app.reset(); }

private:
    std::unique_ptr<Application> m_app;
};

// Registers it once per test program: `MOSARO_APPLICATION_ENVIRONMENT(QApplication);` at file scope.
#define MOSARO_APPLICATION_ENVIRONMENT(Application)                                                                    \
    [[maybe_unused]] static ::testing::Environment* const mosaroApplicationEnvironment =                               \
        ::testing::AddGlobalTestEnvironment(new ::mosaro::test::ApplicationEnvironment<Application>)

} // namespace mosaro::test
