// The os_log-style formatter. Every argument is converted without undefined behaviour and with
// the same text on every build and in every locale: integers narrow like C's printf does,
// floating point goes through std::to_chars, and out-of-range or non-finite values have a
// defined spelling.

#include "Diagnostics/Log/Log.h"

#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <system_error>

namespace mosaro::Log {

namespace {

// Width and precision are capped so that no format can ask for unbounded output.
constexpr int maxFieldWidth = 1024;
constexpr int maxPrecision = 100;

struct Spec {
    bool isPublic = false;
    bool isPrivate = false;
    bool isBool = false;
    bool leftAlign = false;
    bool zeroPad = false;
    bool plusSign = false;
    bool spaceSign = false;
    bool alternate = false;
    int width = 0;
    int precision = -1; // none given
    int bits = 32;      // of the integer type the length modifier names
    char16_t conversion = 0;
};

bool isIntegerConversion(char16_t c)
{
    return c == u'd' || c == u'i' || c == u'u' || c == u'o' || c == u'x' || c == u'X' || c == u'c' || c == u'p';
}
bool isSignedConversion(char16_t c)
{
    return c == u'd' || c == u'i';
}
bool isFloatConversion(char16_t c)
{
    return c == u'f' || c == u'F' || c == u'e' || c == u'E' || c == u'g' || c == u'G' || c == u'a' || c == u'A';
}
bool isTextConversion(char16_t c)
{
    return c == u's' || c == u'@';
}

// Reads a decimal number of at most `cap`; digits beyond the cap keep it at the cap.
int readNumber(const QString& format, qsizetype& j, int cap)
{
    int value = 0;
    while (j < format.size() && format[j].isDigit() && format[j].unicode() < 128) {
        value = std::min(cap, value * 10 + (format[j].unicode() - u'0'));
        ++j;
    }
    return value;
}

// Parses the conversion after a '%' at i (flags, width, precision, type). False when the format
// ends inside it.
bool parseSpec(const QString& format, qsizetype& j, Spec& spec)
{
    const qsizetype n = format.size();
    if (j < n && format[j] == u'{') {
        const qsizetype close = format.indexOf(u'}', j);
        if (close < 0)
            return false;
        for (const QStringView flag : QStringView(format).mid(j + 1, close - j - 1).split(u',')) {
            const QStringView f = flag.trimmed();
            spec.isPublic = spec.isPublic || f == u"public";
            spec.isPrivate = spec.isPrivate || f == u"private";
            spec.isBool = spec.isBool || f == u"bool" || f == u"BOOL";
        }
        j = close + 1;
    }
    for (; j < n; ++j) {
        const char16_t c = format[j].unicode();
        if (c == u'-')
            spec.leftAlign = true;
        else if (c == u'0')
            spec.zeroPad = true;
        else if (c == u'+')
            spec.plusSign = true;
        else if (c == u' ')
            spec.spaceSign = true;
        else if (c == u'#')
            spec.alternate = true;
        else
            break;
    }
    spec.width = readNumber(format, j, maxFieldWidth);
    if (j < n && format[j] == u'.') {
        ++j;
        spec.precision = readNumber(format, j, maxPrecision);
    }
    if (j + 1 < n && format[j] == u'h' && format[j + 1] == u'h') {
        spec.bits = 8;
        j += 2;
    } else if (j < n && format[j] == u'h') {
        spec.bits = 16;
        ++j;
    } else {
        while (j < n && (format[j] == u'l' || format[j] == u'q' || format[j] == u'j' || format[j] == u'z' ||
                         format[j] == u't' || format[j] == u'L')) {
            spec.bits = 64;
            ++j;
        }
    }
    if (j >= n)
        return false;
    spec.conversion = format[j].unicode();
    if (spec.conversion == u'p')
        spec.bits = 64;
    return true;
}

QString pad(QString body, const Spec& spec, qsizetype signLength = 0, bool zerosAllowed = true)
{
    const qsizetype missing = spec.width - body.size();
    if (missing <= 0)
        return body;
    if (spec.leftAlign)
        return body + QString(missing, u' ');
    if (spec.zeroPad && zerosAllowed)
        return body.insert(signLength, QString(missing, u'0'));
    return QString(missing, u' ') + body;
}

QString signPrefix(bool negative, const Spec& spec)
{
    if (negative)
        return QStringLiteral("-");
    if (spec.plusSign)
        return QStringLiteral("+");
    if (spec.spaceSign)
        return QStringLiteral(" ");
    return {};
}

QString nonFinite(double value, const Spec& spec, bool upper)
{
    QString body = std::isnan(value) ? QStringLiteral("nan") : QStringLiteral("inf");
    if (upper)
        body = body.toUpper();
    return pad(signPrefix(!std::isnan(value) && value < 0, spec) + body, spec, 0, false);
}

// An integer conversion of the raw two's-complement bits of a value.
QString formatBits(std::uint64_t raw, const Spec& spec)
{
    const int bits = spec.bits;
    const std::uint64_t mask = bits >= 64 ? ~std::uint64_t(0) : (std::uint64_t(1) << bits) - 1;
    const std::uint64_t value = raw & mask;

    bool negative = false;
    std::uint64_t magnitude = value;
    if (isSignedConversion(spec.conversion)) {
        const std::uint64_t signBit = std::uint64_t(1) << (bits - 1);
        if (value & signBit) {
            negative = true;
            magnitude = ((~value) & mask) + 1; // exact even for the most negative value
        }
    }
    if (spec.conversion == u'c')
        return pad(QString(QChar(char16_t(value & 0xFF))), spec, 0, false);

    int base = 10;
    QString prefix;
    if (spec.conversion == u'x' || spec.conversion == u'X' || spec.conversion == u'p') {
        base = 16;
        if ((spec.alternate && value != 0) || spec.conversion == u'p')
            prefix = spec.conversion == u'X' ? QStringLiteral("0X") : QStringLiteral("0x");
    } else if (spec.conversion == u'o') {
        base = 8;
    }
    QString digits = (spec.precision == 0 && magnitude == 0) ? QString() : QString::number(magnitude, base);
    if (spec.conversion == u'X')
        digits = digits.toUpper();
    if (spec.precision > digits.size())
        digits.prepend(QString(spec.precision - digits.size(), u'0'));
    if (base == 8 && spec.alternate && !digits.startsWith(u'0'))
        digits.prepend(u'0');
    const QString lead = (isSignedConversion(spec.conversion) ? signPrefix(negative, spec) : QString()) + prefix;
    return pad(lead + digits, spec, lead.size(), spec.precision < 0);
}

// A floating value for an integer conversion: truncated toward zero and held within the type.
std::uint64_t bitsOfDouble(double value, const Spec& spec)
{
    const int bits = spec.bits;
    const double t = std::trunc(value);
    if (isSignedConversion(spec.conversion)) {
        const double low = -std::ldexp(1.0, bits - 1);
        const double high = std::ldexp(1.0, bits - 1); // exclusive
        if (t < low)
            return std::uint64_t(std::numeric_limits<std::int64_t>::min()) >> (64 - bits);
        if (t >= high)
            return (std::uint64_t(1) << (bits - 1)) - 1;
        return std::uint64_t(std::int64_t(t));
    }
    if (t <= 0)
        return 0;
    const double high = std::ldexp(1.0, bits); // exclusive
    if (t >= high)
        return bits >= 64 ? ~std::uint64_t(0) : (std::uint64_t(1) << bits) - 1;
    return std::uint64_t(t);
}

QString formatDouble(double value, const Spec& spec)
{
    const char16_t c = spec.conversion;
    const bool upper = c == u'F' || c == u'E' || c == u'G' || c == u'A';
    if (!std::isfinite(value))
        return nonFinite(value, spec, upper);
    std::chars_format style = std::chars_format::fixed;
    if (c == u'e' || c == u'E')
        style = std::chars_format::scientific;
    else if (c == u'g' || c == u'G')
        style = std::chars_format::general;
    else if (c == u'a' || c == u'A')
        style = std::chars_format::hex;
    // The widest case is a fixed-notation 1e308 with the largest precision.
    std::array<char, 320 + maxPrecision + 8> buffer{};
    const double magnitude = std::fabs(value);
    const auto result = (style == std::chars_format::hex && spec.precision < 0)
                            ? std::to_chars(buffer.data(), buffer.data() + buffer.size(), magnitude, style)
                            : std::to_chars(buffer.data(), buffer.data() + buffer.size(), magnitude, style,
                                            spec.precision < 0 ? 6 : spec.precision);
    if (result.ec != std::errc())
        return QStringLiteral("<unformattable>");
    QString body = QString::fromLatin1(buffer.data(), result.ptr - buffer.data());
    if (style == std::chars_format::hex)
        body.prepend(QStringLiteral("0x"));
    if (upper)
        body = body.toUpper();
    const QString sign = signPrefix(std::signbit(value), spec);
    return pad(sign + body, spec, sign.size());
}

// A number given where text is expected: numbers and Booleans are public.
QString numberText(const Arg& arg)
{
    return std::visit(
        [](const auto& v) -> QString {
            using T = std::decay_t<decltype(v)>;
            if constexpr (std::is_same_v<T, bool>) {
                return v ? QStringLiteral("true") : QStringLiteral("false");
            } else if constexpr (std::is_same_v<T, double>) {
                if (std::isnan(v))
                    return QStringLiteral("nan");
                if (std::isinf(v))
                    return v < 0 ? QStringLiteral("-inf") : QStringLiteral("inf");
                std::array<char, 32> buffer{};
                const auto r = std::to_chars(buffer.data(), buffer.data() + buffer.size(), v);
                return QString::fromLatin1(buffer.data(), r.ptr - buffer.data());
            } else if constexpr (std::is_same_v<T, QString>) {
                return v;
            } else {
                return QString::number(v);
            }
        },
        arg);
}

bool truthOf(const Arg& arg)
{
    return std::visit(
        [](const auto& v) -> bool {
            using T = std::decay_t<decltype(v)>;
            if constexpr (std::is_same_v<T, QString>)
                return !v.isEmpty();
            else
                return v != 0; // NaN counts as true, as in C
        },
        arg);
}

QString formatArgument(const Arg& arg, const Spec& spec, bool revealPrivate)
{
    if (const auto* text = std::get_if<QString>(&arg)) {
        const bool hidden = spec.isPrivate || !spec.isPublic;
        if (hidden && !revealPrivate)
            return pad(QStringLiteral("<private>"), spec, 0, false);
        return pad(spec.precision >= 0 && isTextConversion(spec.conversion) ? text->left(spec.precision) : *text, spec,
                   0, false);
    }
    if (spec.isBool)
        return pad(truthOf(arg) ? QStringLiteral("true") : QStringLiteral("false"), spec, 0, false);
    if (isIntegerConversion(spec.conversion)) {
        if (const auto* d = std::get_if<double>(&arg)) {
            if (!std::isfinite(*d))
                return nonFinite(*d, spec, spec.conversion == u'X');
            return formatBits(bitsOfDouble(*d, spec), spec);
        }
        if (const auto* b = std::get_if<bool>(&arg))
            return formatBits(*b ? 1 : 0, spec);
        if (const auto* i = std::get_if<std::int64_t>(&arg))
            return formatBits(std::uint64_t(*i), spec); // two's complement, as C passes it on
        return formatBits(std::get<std::uint64_t>(arg), spec);
    }
    if (isFloatConversion(spec.conversion)) {
        if (const auto* d = std::get_if<double>(&arg))
            return formatDouble(*d, spec);
        if (const auto* b = std::get_if<bool>(&arg))
            return formatDouble(*b ? 1.0 : 0.0, spec);
        if (const auto* i = std::get_if<std::int64_t>(&arg))
            return formatDouble(double(*i), spec);
        return formatDouble(double(std::get<std::uint64_t>(arg)), spec);
    }
    return pad(numberText(arg), spec, 0, false);
}

} // namespace

QString compose(const QString& format, const std::vector<Arg>& args, bool revealPrivate)
{
    QString out;
    out.reserve(format.size() + 16);
    std::size_t next = 0;
    const qsizetype n = format.size();
    for (qsizetype i = 0; i < n; ++i) {
        const QChar c = format[i];
        if (c != u'%') {
            out += c;
            continue;
        }
        if (i + 1 < n && format[i + 1] == u'%') {
            out += u'%';
            ++i;
            continue;
        }
        qsizetype j = i + 1;
        Spec spec;
        if (!parseSpec(format, j, spec)) {
            out += QStringView(format).mid(i);
            break;
        }
        if (!isIntegerConversion(spec.conversion) && !isFloatConversion(spec.conversion) &&
            !isTextConversion(spec.conversion)) {
            // Not a conversion: shown as written, and no argument is used.
            out += QStringView(format).mid(i, j - i + 1);
            i = j;
            continue;
        }
        i = j;
        if (next >= args.size()) {
            out += QStringLiteral("<missing>");
            continue;
        }
        out += formatArgument(args[next++], spec, revealPrivate);
    }
    return out;
}

} // namespace mosaro::Log
