#include "Platform/Wayland/KWin/KWinRecords.h"

#include "Platform/KeyEvent.h"

#include <QHash>
#include <QJsonArray>
#include <QKeySequence>

#include <cmath>

namespace mosaro::KWin {

namespace {

// Far past any real layout: a value beyond it is a mistake, not a frame.
constexpr double coordinateLimit = 1e6;

std::optional<double> number(const QJsonObject& o, const char* key)
{
    const QJsonValue v = o.value(QLatin1String(key));
    if (!v.isDouble() || !std::isfinite(v.toDouble()) || std::abs(v.toDouble()) > coordinateLimit)
        return std::nullopt;
    return v.toDouble();
}

} // namespace

std::optional<Rect> rect(const QJsonValue& value)
{
    const QJsonObject o = value.toObject();
    const auto x = number(o, "x"), y = number(o, "y"), w = number(o, "width"), h = number(o, "height");
    if (!x || !y || !w || !h || *w < 0 || *h < 0)
        return std::nullopt;
    return Rect{*x, *y, *w, *h};
}

std::optional<Window> window(const QJsonValue& value)
{
    const QJsonObject o = value.toObject();
    const auto frame = rect(o.value(QLatin1String("frame")));
    const QString id = o.value(QLatin1String("id")).toString();
    if (!frame || id.isEmpty() || !o.value(QLatin1String("pid")).isDouble())
        return std::nullopt;
    Window w;
    w.id = id;
    w.caption = o.value(QLatin1String("caption")).toString();
    w.pid = o.value(QLatin1String("pid")).toInt();
    w.frame = *frame;
    w.fullScreen = o.value(QLatin1String("fullScreen")).toBool();
    w.minimized = o.value(QLatin1String("minimized")).toBool();
    w.resizeable = o.value(QLatin1String("resizeable")).toBool();
    w.moveable = o.value(QLatin1String("moveable")).toBool();
    w.output = o.value(QLatin1String("output")).toInt(-1);
    return w;
}

std::optional<std::vector<Output>> outputs(const QJsonValue& value)
{
    if (!value.isArray())
        return std::nullopt;
    std::vector<Output> list;
    for (const auto& entry : value.toArray()) {
        const QJsonObject o = entry.toObject();
        const auto frame = rect(o.value(QLatin1String("frame")));
        const auto visible = rect(o.value(QLatin1String("visible")));
        if (!frame || !visible || frame->width <= 0 || frame->height <= 0)
            return std::nullopt;
        list.push_back(Output{*frame, *visible, o.value(QLatin1String("name")).toString(),
                              o.value(QLatin1String("model")).toString()});
    }
    return list;
}

QStringList actionsHolding(const QString& fileText, int key, const QString& ownPrefix)
{
    struct Hit {
        QString component;
        QString action;
    };
    std::vector<Hit> hits;
    QHash<QString, QString> componentNames;
    QString component;
    for (const QString& raw : fileText.split(QLatin1Char('\n'))) {
        const QString line = raw.trimmed();
        if (line.startsWith(QLatin1Char('[')) && line.endsWith(QLatin1Char(']'))) {
            component = line.mid(1, line.size() - 2);
            continue;
        }
        const auto equals = line.indexOf(QLatin1Char('='));
        if (equals <= 0 || line.startsWith(QLatin1Char('#')) || component.isEmpty())
            continue;
        const QString action = line.left(equals);
        // Active keys, default keys, the name people see; a comma inside a key is escaped ("\,").
        QString value = line.mid(equals + 1);
        value.replace(QLatin1String("\\,"), QStringLiteral("\x01"));
        const QStringList fields = value.split(QLatin1Char(','));
        if (action == QLatin1String("_k_friendly_name")) {
            componentNames.insert(component, value);
            continue;
        }
        if (component == QLatin1String("kwin") && action.startsWith(ownPrefix))
            continue;
        QString active = fields.value(0).replace(QLatin1Char('\x01'), QLatin1Char(','));
        active.replace(QLatin1String("\\t"), QStringLiteral("\t"));
        for (const QString& keys : active.split(QLatin1Char('\t'), Qt::SkipEmptyParts)) {
            const QKeySequence sequence = QKeySequence::fromString(keys, QKeySequence::PortableText);
            if (keys != QLatin1String("none") && sequence.count() == 1 && sequence[0].toCombined() == key) {
                const QString shown = fields.value(2).trimmed();
                hits.push_back({component, shown.isEmpty() ? action : shown});
                break;
            }
        }
    }
    QStringList found;
    for (const Hit& hit : hits)
        found << QStringLiteral("%1 (%2)").arg(hit.action, componentNames.value(hit.component, hit.component));
    return found;
}

std::optional<int> kdeKey(const Wayland::Keymap& keymap, std::uint32_t keyCode, std::uint32_t modifiers)
{
    if (keyCode > 0xFFFF)
        return std::nullopt;
    const auto bare = keymap.bindsymText({std::uint16_t(keyCode), 0});
    if (!bare)
        return std::nullopt;
    // Qt names keys that print by their character, the others mostly as XKB does.
    QString name = *bare;
    const auto printed = keymap.printed(std::uint16_t(keyCode));
    if (printed && printed->size() == 1 && printed->at(0).isPrint() && !printed->at(0).isSpace())
        name = printed->toUpper();
    static const std::pair<const char*, const char*> renamed[] = {
        {"Prior", "PgUp"}, {"Next", "PgDown"}, {"space", "Space"}, {"BackSpace", "Backspace"},
        {"Escape", "Esc"}, {"Delete", "Del"},  {"Insert", "Ins"},  {"KP_Enter", "Enter"}};
    for (const auto& [xkb, qt] : renamed)
        if (name == QLatin1String(xkb))
            name = QLatin1String(qt);
    QString text;
    if (modifiers & CarbonModifier::command)
        text += QLatin1String("Meta+");
    if (modifiers & CarbonModifier::control)
        text += QLatin1String("Ctrl+");
    if (modifiers & CarbonModifier::option)
        text += QLatin1String("Alt+");
    if (modifiers & CarbonModifier::shift)
        text += QLatin1String("Shift+");
    const QKeySequence sequence = QKeySequence::fromString(text + name, QKeySequence::PortableText);
    if (sequence.count() != 1 || sequence[0].key() == Qt::Key_unknown)
        return std::nullopt;
    return sequence[0].toCombined();
}

} // namespace mosaro::KWin
