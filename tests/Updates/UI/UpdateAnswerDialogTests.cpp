#include "Updates/UI/UpdateAnswerDialog.h"

#include "support/ApplicationEnvironment.h"
#include "support/FakePermissionPlatform.h"

#include "support/QtPrinters.h"
#include <QApplication>
#include <QLabel>
#include <QPushButton>

#include <gtest/gtest.h>

using namespace mosaro;
using namespace mosaro::test;

MOSARO_APPLICATION_ENVIRONMENT(QApplication);

namespace {

class UpdateAnswerDialogTest : public ::testing::Test {
protected:
    static QString text(QWidget* dialog, const char* name)
    {
        auto* label = dialog->findChild<QLabel*>(QString::fromLatin1(name));
        return label ? label->text() : QStringLiteral("(none)");
    }
    static QStringList buttons(QWidget* dialog)
    {
        QStringList names;
        for (auto* button : dialog->findChildren<QPushButton*>())
            names << button->objectName() + "=" + button->text().remove(u'&');
        names.sort();
        return names;
    }

    FakeUrlOpener urls;
    const AppcastItem release{"0.3.0", "Mosaro 0.3.0", QUrl("https://mosaro.example/notes/0.3.0"),
                              QUrl("https://mosaro.example/mosaro_0.3.0_amd64.deb")};
};

TEST_F(UpdateAnswerDialogTest, UpToDate)
{
    UpdateAnswerDialog dialog({UpdateCheckAnswer::Kind::upToDate, "0.2.0", std::nullopt, {}}, urls);
    EXPECT_EQ(dialog.windowTitle(), "Mosaro Updates");
    EXPECT_EQ(text(&dialog, "heading"), "You’re up to date!");
    EXPECT_EQ(text(&dialog, "body"), "Mosaro 0.2.0 is the newest version available.");
    EXPECT_EQ(text(&dialog, "releaseNotes"), "(none)");
    EXPECT_EQ(buttons(&dialog), QStringList{"ok=OK"});
}

TEST_F(UpdateAnswerDialogTest, NewerVersionOffersNotesAndDownload)
{
    UpdateAnswerDialog dialog({UpdateCheckAnswer::Kind::updateAvailable, "0.2.0", release, {}}, urls);
    EXPECT_EQ(text(&dialog, "heading"), "A new version of Mosaro is available!");
    EXPECT_EQ(text(&dialog, "body"),
              "Mosaro 0.3.0 is now available — you have 0.2.0. Would you like to download it now?");
    EXPECT_EQ(buttons(&dialog), (QStringList{"download=Download", "later=Later"}));

    auto* notes = dialog.findChild<QLabel*>("releaseNotes");
    ASSERT_TRUE(notes);
    EXPECT_TRUE(notes->text().contains("Release notes for Mosaro 0.3.0"));
    Q_EMIT notes->linkActivated(release.releaseNotes.toString());
    dialog.findChild<QPushButton*>("download")->click();
    EXPECT_EQ(urls.opened, (std::vector<QString>{"https://mosaro.example/notes/0.3.0",
                                                 "https://mosaro.example/mosaro_0.3.0_amd64.deb"}));
    EXPECT_EQ(dialog.result(), QDialog::Accepted);
}

TEST_F(UpdateAnswerDialogTest, FailureShowsTheShortError)
{
    UpdateAnswerDialog dialog(
        {UpdateCheckAnswer::Kind::failed, "0.2.0", std::nullopt, "Could not connect to the update server."}, urls);
    EXPECT_EQ(text(&dialog, "heading"), "Mosaro couldn’t check for updates.");
    EXPECT_EQ(text(&dialog, "body"), "Could not connect to the update server. Please try again later.");
    EXPECT_EQ(buttons(&dialog), QStringList{"ok=OK"});
}

TEST_F(UpdateAnswerDialogTest, ANewAnswerReplacesTheOpenOne)
{
    UpdateAnswerDialogs dialogs(urls);
    dialogs.showAnswer({UpdateCheckAnswer::Kind::upToDate, "0.2.0", std::nullopt, {}});
    QPointer<UpdateAnswerDialog> first = dialogs.current();
    ASSERT_TRUE(first);
    EXPECT_TRUE(first->isVisible());
    dialogs.showAnswer({UpdateCheckAnswer::Kind::updateAvailable, "0.2.0", release, {}});
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(first.isNull());
    ASSERT_TRUE(dialogs.current());
    EXPECT_TRUE(dialogs.current()->isVisible());
    EXPECT_EQ(text(dialogs.current(), "heading"), "A new version of Mosaro is available!");
}

} // namespace
