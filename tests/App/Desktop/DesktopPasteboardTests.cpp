#include "App/Desktop/DesktopServices.h"

#include "support/QtPrinters.h"

#include <QApplication>
#include <QClipboard>
#include <gtest/gtest.h>

using namespace mosaro;

namespace {

TEST(DesktopPasteboard, ReplacesTheClipboardTextNotTheSelection)
{
    static int argc = 1;
    static char name[] = "mosaro_app_x11_tests";
    static char* argv[] = {name, nullptr};
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QClipboard* clipboard = QGuiApplication::clipboard();
    clipboard->setText(QStringLiteral("what the user had copied"), QClipboard::Clipboard);

    DesktopPasteboard pasteboard;
    pasteboard.clearContents();
    EXPECT_TRUE(clipboard->text(QClipboard::Clipboard).isEmpty());
    pasteboard.setString(QStringLiteral("Mosaro Diagnostics\n===================="));
    EXPECT_EQ(clipboard->text(QClipboard::Clipboard), "Mosaro Diagnostics\n====================");
}

} // namespace
