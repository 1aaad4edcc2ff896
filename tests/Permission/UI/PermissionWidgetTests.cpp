#include "Permission/UI/WindowManagerHelpWindow.h"
#include "support/ApplicationEnvironment.h"

#include <QApplication>
#include <QTextBrowser>

#include <gtest/gtest.h>

using namespace mosaro;

MOSARO_APPLICATION_ENVIRONMENT(QApplication);

namespace {

TEST(WindowManagerHelp, OneWindowRefreshedAndBroughtBackWithTheCurrentFinding)
{
    int asked = 0;
    QString finding = QStringLiteral("No window manager announces itself on display :7 <b>");
    WindowManagerHelp help([&] {
        ++asked;
        return finding;
    });
    EXPECT_EQ(help.window(), nullptr);
    help.show();
    WindowManagerHelpWindow* window = help.window();
    ASSERT_NE(window, nullptr);
    EXPECT_TRUE(window->isVisible());
    EXPECT_EQ(window->windowTitle(), QStringLiteral("Window Manager Help — Mosaro"));
    EXPECT_EQ(window->size(), QSize(600, 560));
    const QString page = window->browser()->toPlainText();
    for (const char* text :
         {"Mosaro needs a window manager it can talk to", "Window managers that work", "Openbox", "Why none was found"})
        EXPECT_TRUE(page.contains(QString::fromUtf8(text))) << text;
    EXPECT_TRUE(page.contains(finding)) << "the finding is shown as text, not markup";

    finding = QStringLiteral("Openbox runs on display :7 and follows EWMH.");
    help.show();
    help.show();
    EXPECT_EQ(help.window(), window);
    EXPECT_EQ(QApplication::topLevelWidgets().count(window), 1);
    EXPECT_EQ(asked, 3);
    EXPECT_TRUE(window->browser()->toPlainText().contains(finding));

    window->close(); // deleted on close; the next one is new
    QApplication::processEvents();
    EXPECT_EQ(help.window(), nullptr);
    help.show();
    EXPECT_NE(help.window(), nullptr);
}

} // namespace
