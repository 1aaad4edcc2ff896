#include "App/Desktop/DesktopServices.h"

#include "support/ApplicationEnvironment.h"
#include "support/QtPrinters.h"

#include <QApplication>
#include <QClipboard>
#include <gtest/gtest.h>

using namespace mosaro;

MOSARO_APPLICATION_ENVIRONMENT(QApplication);

namespace {

TEST(DesktopPasteboard, ReplacesTheClipboardTextNotTheSelection)
{
    QClipboard* clipboard = QGuiApplication::clipboard();
    clipboard->setText(QStringLiteral("what the user had copied"), QClipboard::Clipboard);

    DesktopPasteboard pasteboard;
    pasteboard.clearContents();
    EXPECT_TRUE(clipboard->text(QClipboard::Clipboard).isEmpty());
    pasteboard.setString(QStringLiteral("Mosaro Diagnostics\n===================="));
    EXPECT_EQ(clipboard->text(QClipboard::Clipboard), "Mosaro Diagnostics\n====================");
}

} // namespace
