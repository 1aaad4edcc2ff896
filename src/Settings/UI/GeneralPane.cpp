#include "Settings/UI/GeneralPane.h"

#include "Platform/HostTexts.h"
#include "Platform/UI/Symbols.h"
#include "Settings/UI/FormSection.h"
#include "Settings/UI/LabeledStepper.h"

#include <QCheckBox>
#include <QDesktopServices>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QUrl>
#include <QVBoxLayout>

namespace mosaro {

namespace {

QLabel* linkLabel(const QString& text, const QString& url, QWidget* parent)
{
    auto* label =
        new QLabel(QStringLiteral("<a href=\"%1\">%2</a>").arg(url.toHtmlEscaped(), text.toHtmlEscaped()), parent);
    label->setTextFormat(Qt::RichText);
    label->setTextInteractionFlags(Qt::LinksAccessibleByMouse | Qt::LinksAccessibleByKeyboard);
    label->setToolTip(url);
    QObject::connect(label, &QLabel::linkActivated, label,
                     [](const QString& link) { QDesktopServices::openUrl(QUrl(link)); });
    return label;
}

void clearLayout(QVBoxLayout* layout)
{
    while (QLayoutItem* item = layout->takeAt(0)) {
        if (QWidget* w = item->widget()) {
            w->hide();
            w->deleteLater();
        }
        delete item;
    }
}

} // namespace

DisplayGridSection::DisplayGridSection(PreferencesStore& store, ScreenEntry entry, QWidget* parent)
    : QFrame(parent), m_store(store), m_entry(std::move(entry))
{
    setObjectName(QStringLiteral("displayGridSection"));
    setFrameShape(QFrame::StyledPanel);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(10, 8, 10, 8);
    layout->setSpacing(6);

    auto* header = new QHBoxLayout;
    header->setSpacing(6);
    auto* name = new QLabel(m_entry.name, this);
    QFont bold = name->font();
    bold.setWeight(QFont::DemiBold);
    name->setFont(bold);
    header->addWidget(name);
    if (!m_entry.isConnected) {
        auto* icon = new QLabel(this);
        const int side = name->fontMetrics().height();
        icon->setPixmap(symbolIcon(Symbol::displayWarning).pixmap(QSize(side, side), devicePixelRatioF()));
        icon->setObjectName(QStringLiteral("notConnectedIcon"));
        header->addWidget(icon);
        m_notConnected = new QLabel(QStringLiteral("(not connected)"), this);
        m_notConnected->setForegroundRole(QPalette::PlaceholderText);
        header->addWidget(m_notConnected);
    }
    header->addStretch(1);
    m_reset = new QPushButton(QStringLiteral("Reset"), this);
    m_reset->setToolTip(QStringLiteral("Use the global grid for this display"));
    QFont small = m_reset->font();
    small.setPointSizeF(small.pointSizeF() * 0.85);
    m_reset->setFont(small);
    header->addWidget(m_reset);
    layout->addLayout(header);

    m_columns = new LabeledStepper(QStringLiteral("Columns"), columnsRange, this);
    m_rows = new LabeledStepper(QStringLiteral("Rows"), rowsRange, this);
    layout->addWidget(m_columns);
    layout->addWidget(m_rows);

    connect(m_reset, &QPushButton::clicked, this, [this] {
        if (!m_entry.name.isEmpty())
            m_store.setProSettings(withDisplayReset(m_store.proSettings(), m_entry.name));
    });
    connect(m_columns, &LabeledStepper::valueEdited, this, [this](std::int64_t columns) {
        m_store.setProSettings(withDisplayColumns(m_store.proSettings(), m_entry.name, columns));
    });
    connect(m_rows, &LabeledStepper::valueEdited, this, [this](std::int64_t rows) {
        m_store.setProSettings(withDisplayRows(m_store.proSettings(), m_entry.name, rows));
    });
    refresh();
}

void DisplayGridSection::refresh()
{
    const GridDimensions grid = displayGrid(m_store.proSettings(), m_entry.name);
    m_columns->setValue(grid.columns);
    m_rows->setValue(grid.rows);
}

GeneralPane::GeneralPane(PreferencesStore& store, ScreenList& screens, NotificationCenter& defaultCenter,
                         LoginItemService& loginItems, QWidget* parent)
    : QWidget(parent), m_store(store), m_screens(screens), m_center(defaultCenter), m_loginSwitch(loginItems)
{
    auto* layout = new QVBoxLayout(this);
    layout->setSpacing(14);

    auto* startup = new FormSection(QStringLiteral("Startup"), hostText(HostText::launchAtLoginFooter), this);
    m_launchAtLogin = new QCheckBox(QStringLiteral("Launch Mosaro at login"), startup->box());
    startup->addRow(m_launchAtLogin);
    layout->addWidget(startup);

    auto* displays = new FormSection(
        QStringLiteral("Displays"),
        QStringLiteral(
            "When off, the same grid is used everywhere. When on, configure each display individually below."),
        this);
    m_perDisplay = new QCheckBox(QStringLiteral("Use a different grid per display"), displays->box());
    displays->addRow(m_perDisplay);
    layout->addWidget(displays);

    auto* grid = new FormSection(QStringLiteral("Grid"), {}, this);
    m_gridBody = new QWidget(grid->box());
    m_gridLayout = new QVBoxLayout(m_gridBody);
    m_gridLayout->setContentsMargins(0, 0, 0, 0);
    m_gridLayout->setSpacing(8);
    grid->addRow(m_gridBody);
    layout->addWidget(grid);

    auto* margin = new FormSection(QStringLiteral("Margin"),
                                   QStringLiteral("Uniform pixel gap between cells and around the screen edge."), this);
    m_margin = new LabeledStepper(marginLabel(0), marginRange, margin->box());
    QFont digits = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    digits.setPointSizeF(m_margin->labelWidget()->font().pointSizeF());
    m_margin->labelWidget()->setFont(digits);
    margin->addRow(m_margin);
    layout->addWidget(margin);

    auto* legal = new FormSection(QStringLiteral("Legal"), {}, this);
    for (const LegalLink& link : mosaro::legalLinks()) {
        m_links.push_back(linkLabel(link.title, link.url, legal->box()));
        legal->addRow(m_links.back());
    }
    layout->addWidget(legal);
    layout->addStretch(1);

    connect(m_launchAtLogin, &QCheckBox::toggled, this, [this](bool enabled) {
        const bool shown = m_loginSwitch.flip(enabled);
        const QSignalBlocker blocker(m_launchAtLogin);
        m_launchAtLogin->setChecked(shown);
    });
    connect(m_perDisplay, &QCheckBox::toggled, this,
            [this](bool on) { editProSettings([on](ProSettings& s) { s.perDisplayMode = on; }); });
    connect(m_margin, &LabeledStepper::valueEdited, this,
            [this](std::int64_t value) { editProSettings([value](ProSettings& s) { s.margin = value; }); });
    connect(&m_store, &PreferencesStore::preferencesChanged, this, &GeneralPane::refreshFromStore);

    // Hot-plugging rebuilds the list of displays.
    m_screensObserver =
        m_center.addObserver(PlatformNotifications::screenParametersDidChange, nullptr, [this](const Notification&) {
            ++m_refreshTick;
            m_builtForPerDisplay.reset();
            refreshFromStore();
        });
    m_launchAtLogin->setChecked(m_loginSwitch.read());
    refreshFromStore();
}

GeneralPane::~GeneralPane()
{
    if (m_screensObserver)
        m_center.removeObserver(*m_screensObserver);
}

void GeneralPane::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    // The registration lives with the platform and may have changed there.
    const QSignalBlocker blocker(m_launchAtLogin);
    m_launchAtLogin->setChecked(m_loginSwitch.read());
}

void GeneralPane::editProSettings(const std::function<void(ProSettings&)>& edit)
{
    ProSettings settings = m_store.proSettings();
    edit(settings);
    m_store.setProSettings(settings);
}

std::vector<ScreenEntry> GeneralPane::currentDisplayList() const
{
    QStringList names;
    for (const ScreenRef& screen : m_screens.screens())
        names.push_back(screen->localizedName());
    return displayList(names, m_store.proSettings().perDisplayGrids);
}

void GeneralPane::refreshFromStore()
{
    const ProSettings& settings = m_store.proSettings();
    {
        const QSignalBlocker blocker(m_perDisplay);
        m_perDisplay->setChecked(settings.perDisplayMode);
    }
    m_margin->setValue(settings.margin);
    m_margin->setLabel(marginLabel(m_margin->value()));

    const bool perDisplay = settings.perDisplayMode;
    const std::vector<ScreenEntry> displays = perDisplay ? currentDisplayList() : std::vector<ScreenEntry>{};
    if (m_builtForPerDisplay != perDisplay || displays != m_builtDisplays) {
        m_builtForPerDisplay = perDisplay;
        m_builtDisplays = displays;
        rebuildGrid();
    }
    if (m_columns) {
        m_columns->setValue(settings.globalGrid.columns);
        m_rows->setValue(settings.globalGrid.rows);
    }
    for (DisplayGridSection* section : displaySections())
        section->refresh();
}

void GeneralPane::rebuildGrid()
{
    clearLayout(m_gridLayout);
    m_columns = nullptr;
    m_rows = nullptr;
    m_noDisplays = nullptr;
    m_displayList = nullptr;

    if (!*m_builtForPerDisplay) {
        m_columns = new LabeledStepper(QStringLiteral("Columns"), columnsRange, m_gridBody);
        m_rows = new LabeledStepper(QStringLiteral("Rows"), rowsRange, m_gridBody);
        connect(m_columns, &LabeledStepper::valueEdited, this, [this](std::int64_t columns) {
            editProSettings([columns](ProSettings& s) { s.globalGrid.columns = columns; });
        });
        connect(m_rows, &LabeledStepper::valueEdited, this,
                [this](std::int64_t rows) { editProSettings([rows](ProSettings& s) { s.globalGrid.rows = rows; }); });
        m_gridLayout->addWidget(m_columns);
        m_gridLayout->addWidget(m_rows);
        return;
    }
    if (m_builtDisplays.empty()) {
        m_noDisplays = secondaryLabel(QStringLiteral("No displays detected."), m_gridBody);
        m_gridLayout->addWidget(m_noDisplays);
        return;
    }
    m_displayList = new QWidget(m_gridBody);
    auto* list = new QVBoxLayout(m_displayList);
    list->setContentsMargins(0, 0, 0, 0);
    list->setSpacing(8);
    for (const ScreenEntry& entry : m_builtDisplays)
        list->addWidget(new DisplayGridSection(m_store, entry, m_displayList));
    m_gridLayout->addWidget(m_displayList);
}

QList<DisplayGridSection*> GeneralPane::displaySections() const
{
    if (!m_displayList)
        return {};
    return m_displayList->findChildren<DisplayGridSection*>(Qt::FindDirectChildrenOnly);
}

} // namespace mosaro
