#include "Permission/UI/OnboardingWidget.h"
#include "Permission/UI/WindowManagerHelpWindow.h"
#include "support/WidgetTestEnvironment.h"

#include <QApplication>
#include <QLabel>
#include <QTextBrowser>

#include <gtest/gtest.h>

using namespace mosaro;

MOSARO_WIDGET_TEST_ENVIRONMENT();

namespace {

// The welcome window's own texts are held by the system texts test; here: its size, and that no
// wrapped text is clipped.
TEST(WelcomeWindow, EveryWrappedTextGetsTheHeightItNeeds)
{
    OnboardingWidget welcome;
    welcome.adjustSize();
    EXPECT_EQ(welcome.width(), 520);
    EXPECT_GT(welcome.height(), 300);
    welcome.show();
    int wrapped = 0;
    for (const QLabel* label : welcome.findChildren<QLabel*>()) {
        if (!label->wordWrap())
            continue;
        ++wrapped;
        EXPECT_GE(label->height(), label->heightForWidth(label->width())) << label->text().toStdString();
    }
    // The three sections' bodies wrap.
    EXPECT_EQ(wrapped, 3);
}

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
    EXPECT_TRUE(page.contains(QStringLiteral("Mosaro needs a window manager it can talk to")));
    EXPECT_TRUE(page.contains(QStringLiteral("Window managers that work")));
    EXPECT_TRUE(page.contains(QStringLiteral("Openbox")));
    EXPECT_TRUE(page.contains(QStringLiteral("Why none was found")));
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
