#include "Permission/UI/OnboardingWidget.h"

#include "Platform/HostTexts.h"
#include "Platform/UI/Symbols.h"

#include <QApplication>
#include <QCloseEvent>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QShortcut>
#include <QStyle>
#include <QVBoxLayout>

namespace mosaro {

namespace {

QWidget* section(Symbol symbol, const QString& heading, const QString& body)
{
    auto* row = new QWidget;
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(12);
    auto* icon = new QLabel;
    // At the screen's density, so it stays sharp on a 2x display.
    icon->setPixmap(symbolIcon(symbol).pixmap(QSize(22, 22), icon->devicePixelRatioF()));
    icon->setFixedWidth(28);
    icon->setAlignment(Qt::AlignHCenter | Qt::AlignTop);
    layout->addWidget(icon, 0, Qt::AlignTop);

    auto* texts = new QVBoxLayout;
    texts->setSpacing(2);
    auto* title = new QLabel(heading);
    QFont font = title->font();
    font.setWeight(QFont::Medium);
    title->setFont(font);
    auto* text = new QLabel(body);
    text->setWordWrap(true);
    text->setForegroundRole(QPalette::PlaceholderText);
    texts->addWidget(title);
    texts->addWidget(text);
    layout->addLayout(texts, 1);
    return row;
}

} // namespace

OnboardingWidget::OnboardingWidget(QWidget* parent) : QWidget(parent)
{
    setWindowTitle(QStringLiteral("Welcome to Mosaro"));
    setWindowFlags(Qt::Window | Qt::WindowTitleHint | Qt::WindowCloseButtonHint | Qt::CustomizeWindowHint);
    setAttribute(Qt::WA_DeleteOnClose);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(32, 24, 32, 24);
    layout->setSpacing(14);

    // The application's logo above the title.
    const QIcon logo = QApplication::windowIcon();
    if (!logo.isNull()) {
        auto* image = new QLabel;
        image->setPixmap(logo.pixmap(72, 72));
        image->setAlignment(Qt::AlignHCenter);
        layout->addWidget(image);
    }

    auto* title = new QLabel(QStringLiteral("Welcome to Mosaro"));
    QFont titleFont = title->font();
    titleFont.setPointSizeF(titleFont.pointSizeF() * 1.6);
    titleFont.setWeight(QFont::DemiBold);
    title->setFont(titleFont);
    title->setAlignment(Qt::AlignHCenter);
    auto* subtitle = new QLabel(hostText(HostText::welcomeSubtitle));
    subtitle->setAlignment(Qt::AlignHCenter);
    subtitle->setForegroundRole(QPalette::PlaceholderText);
    layout->addWidget(title);
    layout->addWidget(subtitle);

    layout->addWidget(
        section(Symbol::infoCircle, hostText(HostText::welcomeAccessHeading), hostText(HostText::welcomeAccessBody)));
    layout->addWidget(section(Symbol::lockShield, QStringLiteral("What Mosaro does not see"),
                              QStringLiteral("Window contents are never read. Keystrokes outside the shortcuts you "
                                             "configure are not captured. Nothing is sent anywhere — Mosaro works "
                                             "fully offline.")));
    layout->addWidget(
        section(Symbol::gear, QStringLiteral("Changing your mind later"), hostText(HostText::welcomeChangeBody)));

    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(12);
    buttons->addStretch();
    auto* skip = new QPushButton(QStringLiteral("Not now"));
    auto* allow = new QPushButton(hostText(HostText::welcomeAllowButton));
    allow->setDefault(true);
    allow->setAutoDefault(true);
    buttons->addWidget(skip);
    buttons->addWidget(allow);
    buttons->addStretch();
    layout->addSpacing(8);
    layout->addLayout(buttons);

    connect(skip, &QPushButton::clicked, this, &OnboardingWidget::skipClicked);
    connect(allow, &QPushButton::clicked, this, &OnboardingWidget::continueClicked);
    auto* escape = new QShortcut(QKeySequence(Qt::Key_Escape), this);
    connect(escape, &QShortcut::activated, this, &OnboardingWidget::skipClicked);
    setFixedWidth(520);
    // Wrapped texts need the height they take at this width, not the one of their unwrapped hint.
    layout->activate();
    if (hasHeightForWidth())
        setFixedHeight(heightForWidth(520));
}

void OnboardingWidget::closeEvent(QCloseEvent* event)
{
    Q_EMIT willClose();
    QWidget::closeEvent(event);
}

QtOnboardingWindow::QtOnboardingWindow(NotificationCenter& center) : m_center(center), m_widget(new OnboardingWidget)
{
    QObject::connect(m_widget, &OnboardingWidget::continueClicked, [this] {
        if (onContinue)
            onContinue();
    });
    QObject::connect(m_widget, &OnboardingWidget::skipClicked, [this] {
        if (onSkip)
            onSkip();
    });
    QObject::connect(m_widget, &OnboardingWidget::willClose, [this] {
        // Titled windows announce their closing, so the application can step back afterwards.
        m_center.post(PlatformNotifications::windowWillClose, m_widget.data(),
                      {{PlatformNotifications::windowIsTitledKey, true}});
        if (onWillClose)
            onWillClose();
    });
}

QtOnboardingWindow::~QtOnboardingWindow()
{
    if (m_widget) {
        m_widget->disconnect();
        m_widget->close();
    }
}

void QtOnboardingWindow::show()
{
    m_widget->adjustSize();
    if (const QScreen* screen = QGuiApplication::primaryScreen())
        m_widget->move(screen->availableGeometry().center() - m_widget->rect().center());
    m_widget->show();
    m_widget->raise();
    m_widget->activateWindow();
}

void QtOnboardingWindow::close()
{
    if (m_widget)
        m_widget->close();
}

} // namespace mosaro
