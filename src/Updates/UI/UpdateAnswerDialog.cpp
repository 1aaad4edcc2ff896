#include "Updates/UI/UpdateAnswerDialog.h"

#include <QApplication>
#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QStyle>
#include <QVBoxLayout>

namespace mosaro {

namespace {

QIcon iconFor(const UpdateCheckAnswer& answer, const QStyle* style)
{
    if (answer.kind == UpdateCheckAnswer::Kind::failed)
        return style->standardIcon(QStyle::SP_MessageBoxWarning);
    const QIcon appIcon = QApplication::windowIcon();
    return appIcon.isNull() ? style->standardIcon(QStyle::SP_MessageBoxInformation) : appIcon;
}

} // namespace

QString UpdateAnswerDialog::windowTitleText()
{
    return QStringLiteral("Mosaro Updates");
}

QString UpdateAnswerDialog::headingText(const UpdateCheckAnswer& answer)
{
    switch (answer.kind) {
    case UpdateCheckAnswer::Kind::upToDate:
        return QStringLiteral("You’re up to date!");
    case UpdateCheckAnswer::Kind::updateAvailable:
        return QStringLiteral("A new version of Mosaro is available!");
    case UpdateCheckAnswer::Kind::failed:
        return QStringLiteral("Mosaro couldn’t check for updates.");
    }
    return {};
}

QString UpdateAnswerDialog::bodyText(const UpdateCheckAnswer& answer)
{
    switch (answer.kind) {
    case UpdateCheckAnswer::Kind::upToDate:
        return QStringLiteral("Mosaro %1 is the newest version available.").arg(answer.currentVersion);
    case UpdateCheckAnswer::Kind::updateAvailable:
        return QStringLiteral("Mosaro %1 is now available — you have %2. Would you like to download it now?")
            .arg(answer.update ? answer.update->version : QString(), answer.currentVersion);
    case UpdateCheckAnswer::Kind::failed:
        return answer.error + QStringLiteral(" Please try again later.");
    }
    return {};
}

UpdateAnswerDialog::UpdateAnswerDialog(const UpdateCheckAnswer& answer, UrlOpener& urlOpener, QWidget* parent)
    : QDialog(parent), m_urlOpener(urlOpener)
{
    setObjectName(QStringLiteral("updateAnswerDialog"));
    setWindowTitle(windowTitleText());

    auto* icon = new QLabel(this);
    icon->setObjectName(QStringLiteral("icon"));
    const int iconSize = style()->pixelMetric(QStyle::PM_MessageBoxIconSize, nullptr, this);
    icon->setPixmap(iconFor(answer, style()).pixmap(iconSize, iconSize));
    icon->setAlignment(Qt::AlignTop | Qt::AlignHCenter);

    auto* heading = new QLabel(headingText(answer), this);
    heading->setObjectName(QStringLiteral("heading"));
    heading->setTextFormat(Qt::PlainText);
    QFont headingFont = heading->font();
    headingFont.setBold(true);
    headingFont.setPointSizeF(headingFont.pointSizeF() * 1.15);
    heading->setFont(headingFont);

    auto* body = new QLabel(bodyText(answer), this);
    body->setObjectName(QStringLiteral("body"));
    body->setTextFormat(Qt::PlainText);
    body->setWordWrap(true);
    body->setTextInteractionFlags(Qt::TextSelectableByMouse);

    auto* texts = new QVBoxLayout;
    texts->setSpacing(8);
    texts->addWidget(heading);
    texts->addWidget(body);

    auto* buttons = new QDialogButtonBox(this);
    buttons->setObjectName(QStringLiteral("buttons"));
    if (answer.kind == UpdateCheckAnswer::Kind::updateAvailable && answer.update) {
        const AppcastItem update = *answer.update;
        if (update.releaseNotes.isValid()) {
            auto* notes = new QLabel(this);
            notes->setObjectName(QStringLiteral("releaseNotes"));
            notes->setTextFormat(Qt::RichText);
            notes->setText(QStringLiteral("<a href=\"%1\">Release notes for Mosaro %2</a>")
                               .arg(update.releaseNotes.toString(QUrl::FullyEncoded).toHtmlEscaped(),
                                    update.version.toHtmlEscaped()));
            notes->setTextInteractionFlags(Qt::LinksAccessibleByMouse | Qt::LinksAccessibleByKeyboard);
            connect(notes, &QLabel::linkActivated, this,
                    [this, update](const QString&) { m_urlOpener.openUrl(update.releaseNotes.toString()); });
            texts->addWidget(notes);
        }
        QPushButton* download = buttons->addButton(QStringLiteral("Download"), QDialogButtonBox::AcceptRole);
        download->setObjectName(QStringLiteral("download"));
        download->setDefault(true);
        QPushButton* later = buttons->addButton(QStringLiteral("Later"), QDialogButtonBox::RejectRole);
        later->setObjectName(QStringLiteral("later"));
        connect(download, &QPushButton::clicked, this,
                [this, update] { m_urlOpener.openUrl(update.download.toString()); });
    } else {
        QPushButton* ok = buttons->addButton(QDialogButtonBox::Ok);
        ok->setObjectName(QStringLiteral("ok"));
        ok->setIcon(QIcon()); // plain like the buttons of the other answer
        ok->setDefault(true);
    }
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto* top = new QHBoxLayout;
    top->setSpacing(16);
    top->addWidget(icon, 0, Qt::AlignTop);
    top->addLayout(texts, 1);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(20, 20, 20, 16);
    layout->setSpacing(16);
    layout->addLayout(top);
    layout->addWidget(buttons);
    layout->setSizeConstraint(QLayout::SetFixedSize);
    body->setMinimumWidth(360);
    body->setMaximumWidth(420);
}

UpdateAnswerDialogs::~UpdateAnswerDialogs()
{
    delete m_current.data();
}

void UpdateAnswerDialogs::showAnswer(const UpdateCheckAnswer& answer)
{
    if (m_current)
        m_current->close();
    auto* dialog = new UpdateAnswerDialog(answer, m_urlOpener);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    m_current = dialog;
    dialog->show();
    dialog->raise();
    dialog->activateWindow();
}

} // namespace mosaro
