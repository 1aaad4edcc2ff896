#include "Preferences/PreferencesJson.h"

#include <QJsonDocument>
#include <QJsonParseError>
#include <QJsonValue>
#include <QVariant>
#include <cmath>

namespace mosaro::PreferencesJson {

namespace {

// Writes the layout of a pretty-printing, key-sorting encoder. Callers hand members over in
// sorted order; the fixed keys are few enough to order by hand.
class PrettyWriter {
public:
    QByteArray take() { return std::move(m_out); }

    void beginObject()
    {
        m_out += '{';
        m_empty.push_back(true);
    }

    void endObject()
    {
        const bool empty = m_empty.back();
        m_empty.pop_back();
        // An empty object still opens a line, leaving a blank line before the brace.
        m_out += empty ? "\n\n" : "\n";
        indent();
        m_out += '}';
    }

    void key(const QString& name)
    {
        if (!m_empty.back())
            m_out += ',';
        m_empty.back() = false;
        m_out += '\n';
        indent();
        m_out += quoted(name);
        m_out += " : ";
    }

    void value(std::int64_t number) { m_out += QByteArray::number(qlonglong(number)); }
    void value(bool flag) { m_out += flag ? "true" : "false"; }
    void value(const QString& text) { m_out += quoted(text); }

private:
    void indent() { m_out += QByteArray(qsizetype(m_empty.size()) * 2, ' '); }

    static QByteArray quoted(const QString& text)
    {
        static const char hex[] = "0123456789abcdef";
        QByteArray out;
        out += '"';
        // Multi-byte UTF-8 sequences have no byte below 0x80, so bytewise escaping is safe.
        for (const char ch : text.toUtf8()) {
            const auto byte = static_cast<unsigned char>(ch);
            switch (byte) {
            case '"':
                out += "\\\"";
                break;
            case '\\':
                out += "\\\\";
                break;
            case '/':
                out += "\\/";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            case '\t':
                out += "\\t";
                break;
            case '\b':
                out += "\\b";
                break;
            case '\f':
                out += "\\f";
                break;
            default:
                if (byte < 0x20) {
                    out += "\\u00";
                    out += hex[byte >> 4];
                    out += hex[byte & 0xF];
                } else {
                    out += ch;
                }
            }
        }
        out += '"';
        return out;
    }

    QByteArray m_out;
    std::vector<bool> m_empty; // per open object: nothing written into it yet
};

void writeDimensions(PrettyWriter& w, GridDimensions dims)
{
    w.beginObject();
    w.key(QStringLiteral("columns"));
    w.value(dims.columns);
    w.key(QStringLiteral("rows"));
    w.value(dims.rows);
    w.endObject();
}

QString joined(const QString& path, const QString& key)
{
    return path.isEmpty() ? key : path + u'.' + key;
}

GridDimensions readDimensions(Reader& reader, const QJsonObject& parent, const QString& key, const QString& path)
{
    const QJsonObject object = reader.object(parent, key, path);
    const QString here = joined(path, key);
    GridDimensions dims;
    dims.columns = reader.integer(object, QStringLiteral("columns"), here);
    dims.rows = reader.integer(object, QStringLiteral("rows"), here);
    return dims;
}

} // namespace

QByteArray encode(const Preferences& prefs)
{
    PrettyWriter w;
    w.beginObject();
    w.key(QStringLiteral("analyticsOptIn"));
    w.value(prefs.analyticsOptIn);
    if (prefs.highlightedRegionTintHex) {
        w.key(QStringLiteral("highlightedRegionTintHex"));
        w.value(*prefs.highlightedRegionTintHex);
    }
    if (prefs.lastSeenAppVersion) {
        w.key(QStringLiteral("lastSeenAppVersion"));
        w.value(*prefs.lastSeenAppVersion);
    }

    const ProSettings& pro = prefs.proSettings;
    w.key(QStringLiteral("proSettings"));
    w.beginObject();
    w.key(QStringLiteral("globalGrid"));
    writeDimensions(w, pro.globalGrid);
    w.key(QStringLiteral("margin"));
    w.value(pro.margin);
    w.key(QStringLiteral("perDisplayGrids"));
    w.beginObject();
    w.key(QStringLiteral("overrides"));
    w.beginObject();
    // The map is ordered by QString's operator<, i.e. by UTF-16 code units.
    for (const auto& [displayKey, dims] : pro.perDisplayGrids.overrides) {
        w.key(displayKey);
        writeDimensions(w, dims);
    }
    w.endObject();
    w.endObject();
    w.key(QStringLiteral("perDisplayMode"));
    w.value(pro.perDisplayMode);
    w.endObject();

    w.key(QStringLiteral("schemaVersion"));
    w.value(prefs.schemaVersion);
    w.key(QStringLiteral("showInDockIcon"));
    w.value(prefs.showInDockIcon);
    w.endObject();
    return w.take();
}

Expected<Preferences, PreferencesError> decode(const QByteArray& bytes)
{
    Reader reader;
    const auto root = reader.parse(bytes);
    if (!root)
        return unexpected(*reader.error);

    Preferences prefs;
    prefs.schemaVersion = reader.integer(*root, QStringLiteral("schemaVersion"));
    prefs.showInDockIcon = reader.boolean(*root, QStringLiteral("showInDockIcon"));
    prefs.highlightedRegionTintHex = reader.optionalText(*root, QStringLiteral("highlightedRegionTintHex"));
    prefs.lastSeenAppVersion = reader.optionalText(*root, QStringLiteral("lastSeenAppVersion"));
    prefs.analyticsOptIn = reader.boolean(*root, QStringLiteral("analyticsOptIn"));

    const QString proPath = QStringLiteral("proSettings");
    const QJsonObject pro = reader.object(*root, proPath);
    ProSettings& settings = prefs.proSettings;
    settings.globalGrid = readDimensions(reader, pro, QStringLiteral("globalGrid"), proPath);
    settings.perDisplayMode = reader.boolean(pro, QStringLiteral("perDisplayMode"), proPath);
    settings.margin = reader.integer(pro, QStringLiteral("margin"), proPath);

    const QString gridsPath = joined(proPath, QStringLiteral("perDisplayGrids"));
    const QJsonObject grids = reader.object(pro, QStringLiteral("perDisplayGrids"), proPath);
    const QString overridesPath = joined(gridsPath, QStringLiteral("overrides"));
    const QJsonObject overrides = reader.object(grids, QStringLiteral("overrides"), gridsPath);
    for (auto it = overrides.begin(); it != overrides.end() && !reader.error; ++it)
        settings.perDisplayGrids.overrides[it.key()] = readDimensions(reader, overrides, it.key(), overridesPath);

    if (reader.error)
        return unexpected(*reader.error);
    return prefs;
}

Expected<SchemaProbe, PreferencesError> decodeProbe(const QByteArray& bytes)
{
    Reader reader;
    const auto root = reader.parse(bytes);
    if (!root)
        return unexpected(*reader.error);
    SchemaProbe probe;
    probe.schemaVersion = reader.integer(*root, QStringLiteral("schemaVersion"));
    if (reader.error)
        return unexpected(*reader.error);
    return probe;
}

void Reader::fail(const QString& what)
{
    if (!error)
        error = PreferencesError{what};
}

std::optional<QJsonObject> Reader::parse(const QByteArray& bytes)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        fail(QStringLiteral("not valid JSON (%1 at offset %2)").arg(parseError.errorString()).arg(parseError.offset));
        return std::nullopt;
    }
    if (!document.isObject()) {
        fail(QStringLiteral("the top level is not a JSON object"));
        return std::nullopt;
    }
    return document.object();
}

std::int64_t Reader::integer(const QJsonObject& object, const QString& key, const QString& path)
{
    if (error)
        return 0;
    const QString name = joined(path, key);
    if (!object.contains(key)) {
        fail(QStringLiteral("required key \"%1\" is missing").arg(name));
        return 0;
    }
    const QJsonValue value = object.value(key);
    if (!value.isDouble()) {
        fail(QStringLiteral("\"%1\" is not a number").arg(name));
        return 0;
    }
    // Integers that fit are kept exactly by the parser; anything else arrives as a double.
    const QVariant exact = value.toVariant();
    if (exact.typeId() == QMetaType::LongLong)
        return exact.toLongLong();
    const double number = value.toDouble();
    constexpr double limit = 9223372036854775808.0; // 2^63
    if (!std::isfinite(number) || std::trunc(number) != number || number < -limit || number >= limit) {
        fail(QStringLiteral("\"%1\" is not a whole number in the 64-bit range").arg(name));
        return 0;
    }
    return static_cast<std::int64_t>(number);
}

bool Reader::boolean(const QJsonObject& object, const QString& key, const QString& path)
{
    if (error)
        return false;
    const QString name = joined(path, key);
    if (!object.contains(key)) {
        fail(QStringLiteral("required key \"%1\" is missing").arg(name));
        return false;
    }
    const QJsonValue value = object.value(key);
    if (!value.isBool()) {
        fail(QStringLiteral("\"%1\" is not a boolean").arg(name));
        return false;
    }
    return value.toBool();
}

std::optional<QString> Reader::optionalText(const QJsonObject& object, const QString& key, const QString& path)
{
    if (error)
        return std::nullopt;
    const QJsonValue value = object.value(key);
    if (value.isUndefined() || value.isNull())
        return std::nullopt;
    if (!value.isString()) {
        fail(QStringLiteral("\"%1\" is not a string").arg(joined(path, key)));
        return std::nullopt;
    }
    return value.toString();
}

QJsonObject Reader::object(const QJsonObject& parent, const QString& key, const QString& path)
{
    if (error)
        return {};
    const QString name = joined(path, key);
    if (!parent.contains(key)) {
        fail(QStringLiteral("required key \"%1\" is missing").arg(name));
        return {};
    }
    const QJsonValue value = parent.value(key);
    if (!value.isObject()) {
        fail(QStringLiteral("\"%1\" is not an object").arg(name));
        return {};
    }
    return value.toObject();
}

} // namespace mosaro::PreferencesJson
