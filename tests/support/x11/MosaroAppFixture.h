#pragma once

#include "Preferences/PreferencesFile.h"
#include "support/x11/MosaroAppDriver.h"
#include "support/x11/X11Session.h"

#include <QFile>

#include <gtest/gtest.h>

#include <iostream>
#include <memory>
#include <optional>

namespace mosaro::test {

// The real application on a private X server with a window manager: what the end-to-end tests
// share. When a test failed, the application's log is printed once at the end.
class MosaroAppFixture : public ::testing::Test {
protected:
    void startSession(const X11Session::Options& options, const QString& appPath = QStringLiteral(MOSARO_APP_PATH))
    {
        session = std::make_unique<X11Session>(options);
        ASSERT_TRUE(session->ok()) << session->error().toStdString();
        app = std::make_unique<MosaroAppDriver>(*session, appPath);
        ASSERT_TRUE(app->keyboard().isAvailable());
    }
    void startApp(const QStringList& args = {}) { ASSERT_TRUE(app->start(args)) << app->lastError().toStdString(); }

    // A test client window, made the active one.
    X11SessionClient activeClient(const QStringList& args)
    {
        const auto c = session->startClient(args);
        EXPECT_TRUE(c && session->activateWindow(c->window)) << args.join(QLatin1Char(' ')).toStdString();
        return c.value_or(X11SessionClient{});
    }

    // The preferences file as the application saved it; none while there is no file or it does not load.
    std::optional<Preferences> storedPreferences()
    {
        if (!QFile::exists(app->preferencesPath()))
            return std::nullopt;
        auto loaded = loadPreferences(app->preferencesPath());
        return loaded ? std::optional<Preferences>(*loaded) : std::nullopt;
    }

    void TearDown() override
    {
        if (HasFailure() && app)
            std::cout << "the application's log:\n" << app->logText().toStdString() << std::endl;
    }

    std::unique_ptr<X11Session> session;
    std::unique_ptr<MosaroAppDriver> app;
};

} // namespace mosaro::test
