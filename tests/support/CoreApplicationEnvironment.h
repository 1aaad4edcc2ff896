#pragma once

#include <QCoreApplication>

#include <gtest/gtest.h>

#include <memory>

namespace mosaro::test {

// One QCoreApplication for a test program that needs an event loop but no display.
class CoreApplicationEnvironment : public ::testing::Environment {
public:
    void SetUp() override
    {
        static int argc = 1;
        static char name[] = "mosaro-tests";
        static char* argv[] = {name, nullptr};
        m_app = std::make_unique<QCoreApplication>(argc, argv);
    }
    void TearDown() override { m_app.reset(); }

private:
    std::unique_ptr<QCoreApplication> m_app;
};

// Registers the environment once per test program: `MOSARO_CORE_TEST_ENVIRONMENT();` at file scope.
#define MOSARO_CORE_TEST_ENVIRONMENT()                                                                                 \
    [[maybe_unused]] static ::testing::Environment* const mosaroCoreEnvironment =                                      \
        ::testing::AddGlobalTestEnvironment(new ::mosaro::test::CoreApplicationEnvironment)

} // namespace mosaro::test
