#include "App/UI/AboutDialog.h"

#include "Platform/HostTexts.h"

#include <QApplication>
#include <QPixmap>

namespace mosaro {

AboutDialog::AboutDialog(const QString& version, const QString& logoPath, QWidget* parent) : QMessageBox(parent)
{
    setWindowTitle(QStringLiteral("About Mosaro"));
    setAttribute(Qt::WA_DeleteOnClose);
    setModal(false);
    setTextFormat(Qt::RichText);
    setText(QStringLiteral("<h2>Mosaro</h2><p>Version %1</p>").arg(version.toHtmlEscaped()));
    setInformativeText(hostText(HostText::welcomeSubtitle).toHtmlEscaped() +
                       QStringLiteral("<br><br>© Brenmark. All rights reserved."));
    setStandardButtons(QMessageBox::Close);
    setEscapeButton(QMessageBox::Close);

    const QPixmap logo(logoPath);
    m_showsLogo = !logo.isNull();
    const QPixmap image = m_showsLogo ? logo : QApplication::windowIcon().pixmap(QSize(logoSize, logoSize));
    setIconPixmap(image.scaled(QSize(logoSize, logoSize), Qt::KeepAspectRatio, Qt::SmoothTransformation));
}

} // namespace mosaro
