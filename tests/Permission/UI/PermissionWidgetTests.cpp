#include "Permission/UI/OnboardingWidget.h"
#include "Permission/UI/WindowManagerHelpWindow.h"
#include "support/WidgetTestEnvironment.h"

#include <QApplication>
#include <QLabel>
#include <QPushButton>
#include <QTextBrowser>

#include <gtest/gtest.h>

using namespace mosaro;

MOSARO_WIDGET_TEST_ENVIRONMENT();

namespace {

QStringList texts(const QWidget& widget)
{
    QStringList out;
    for (const QLabel* label : widget.findChildren<QLabel*>())
        if (!label->text().isEmpty())
            out << label->text();
    for (const QPushButton* button : widget.findChildren<QPushButton*>())
        out << button->text();
    return out;
}

TEST(WelcomeWindow, SpeaksOfTheWindowManagerAndNeverOfTheOriginalPlatform)
{
    OnboardingWidget welcome;
    const QStringList all = texts(welcome);
    EXPECT_EQ(welcome.windowTitle(), QStringLiteral("Welcome to Mosaro"));
    for (const char* expected :
         {"Welcome to Mosaro", "A keyboard-driven window tiler for Linux desktops.", "About window manager access",
          "What Mosaro does not see", "Changing your mind later", "Not now", "Check Window Manager"})
        EXPECT_TRUE(all.contains(QString::fromUtf8(expected))) << expected;
    const QString joined = all.join('\n');
    EXPECT_TRUE(joined.contains(QStringLiteral("asks your window manager for the position and size of the focused "
                                               "window")));
    EXPECT_TRUE(joined.contains(QStringLiteral("window contents are never read")));
    for (const char* foreign : {"macOS", "Mac", "System Settings", "Accessibility"})
        EXPECT_FALSE(joined.contains(QString::fromUtf8(foreign))) << foreign;
    welcome.adjustSize();
    EXPECT_EQ(welcome.width(), 520);
    EXPECT_GT(welcome.height(), 300);
    // Every wrapped text gets the height it needs at its width: nothing is clipped.
    welcome.show();
    for (const QLabel* label : welcome.findChildren<QLabel*>()) {
        if (label->wordWrap()) {
            EXPECT_GE(label->height(), label->heightForWidth(label->width())) << label->text().toStdString();
        }
    }
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
