#pragma once

#include <QMessageBox>
#include <QString>

namespace mosaro {

// The standard About dialog: name, version and what Mosaro is, beside the "AboutPanelLogo" image
// when the resources have one, else beside the application's icon.
class AboutDialog : public QMessageBox {
    Q_OBJECT
public:
    static constexpr const char* logoResource = ":/images/AboutPanelLogo.png";
    static constexpr int logoSize = 96;

    explicit AboutDialog(const QString& version, const QString& logoPath = QString::fromLatin1(logoResource),
                         QWidget* parent = nullptr);

    // Whether the logo image was found (else the application icon is shown).
    bool showsLogo() const { return m_showsLogo; }

private:
    bool m_showsLogo = false;
};

} // namespace mosaro
