// The log formatter fed any format and any arguments: no undefined behaviour, bounded output,
// the same text every time, and private texts never shown unless asked for.

#include "FuzzInput.h"

#include "Diagnostics/Log/Log.h"

#include <vector>

using namespace mosaro;
using mosaro::fuzz::FuzzInput;

// NOLINTNEXTLINE(readability-identifier-naming): the name libFuzzer calls
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzInput input(data, size);
    const QString format = QString::fromUtf8(input.bytes(256));
    std::vector<Log::Arg> args;
    const QString secret = QStringLiteral("\u2063secret\u2063");
    while (!input.empty() && args.size() < 8) {
        switch (input.take<std::uint8_t>() % 6) {
        case 0:
            args.emplace_back(input.take<std::int64_t>());
            break;
        case 1:
            args.emplace_back(input.take<std::uint64_t>());
            break;
        case 2:
            args.emplace_back(input.take<double>());
            break;
        case 3:
            args.emplace_back(input.take<std::uint8_t>() % 2 == 1);
            break;
        case 4:
            args.emplace_back(secret);
            break;
        default:
            args.emplace_back(Log::truncatedArgument(QString::fromUtf8(input.bytes(4096))));
            break;
        }
    }

    const QString redacted = Log::compose(format, args);
    MOSARO_FUZZ_CHECK(redacted == Log::compose(format, args));
    MOSARO_FUZZ_CHECK(Log::compose(format, args, true) == Log::compose(format, args, true));
    // Each specification yields at most a capped field or a cut argument.
    MOSARO_FUZZ_CHECK(redacted.size() <= format.size() * 1100 + 16);
    // A secret the format did not mark public never shows, whatever surrounds it.
    if (!format.contains(QStringLiteral("public")) && !format.contains(QChar(0x2063)))
        MOSARO_FUZZ_CHECK(!redacted.contains(secret));
    for (const Log::Arg& arg : args)
        if (const auto* text = std::get_if<QString>(&arg))
            MOSARO_FUZZ_CHECK(text->toUtf8().size() <= qsizetype(Log::maxArgumentBytes + 3));
    return 0;
}
