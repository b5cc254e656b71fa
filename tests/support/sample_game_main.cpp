#include "support/sample_game.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QRegularExpression>

#include <algorithm>
#include <array>
#include <exception>
#include <iostream>
#include <iterator>
#include <stdexcept>

using namespace Qt::Literals::StringLiterals;
using namespace vok::test_support;

namespace
{

std::uint64_t parsedNumber(const QString& text, const QString& option)
{
    bool valid = false;
    const qulonglong number = text.toULongLong(&valid);
    if (!valid)
        throw std::invalid_argument("not a number for --" + option.toStdString() + ": " + text.toStdString());
    return number;
}

std::uint64_t parsedBytes(const QString& text)
{
    static const QRegularExpression pattern(u"^([0-9]{1,12})(|KiB|MiB|GiB)$"_s);
    const QRegularExpressionMatch match = pattern.match(text);
    if (!match.hasMatch())
        throw std::invalid_argument("not a size, such as 16MiB or 2GiB: " + text.toStdString());
    constexpr std::array kUnits{u"", u"KiB", u"MiB", u"GiB"};
    const auto unit = std::find(kUnits.begin(), kUnits.end(), match.captured(2));
    const auto shift = static_cast<unsigned>(10 * std::distance(kUnits.begin(), unit));
    const std::uint64_t number = match.captured(1).toULongLong();
    if (number > kLargestSampleBytes >> shift)
        throw std::invalid_argument("the size of a sample game lies between 1 MiB and 128 GiB");
    return number << shift;
}

void run(const QStringList& arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        u"Writes a made-up game folder that is laid out like the original game's and may be passed on freely."_s);
    parser.addHelpOption();
    const QCommandLineOption size(u"size"_s, u"Sum of all file sizes, 1MiB to 128GiB."_s, u"size"_s, u"16MiB"_s);
    const QCommandLineOption seed(u"seed"_s, u"The same seed gives the same bytes."_s, u"number"_s, u"1"_s);
    const QCommandLineOption entries(
        u"entries"_s, u"Files and directories below app/base, 50 to 200000. Default: as the size suggests."_s,
        u"number"_s);
    parser.addOptions({size, seed, entries});
    parser.addPositionalArgument(u"DIR"_s, u"Where to write to. It is created, or empty."_s);
    parser.process(arguments);
    if (parser.positionalArguments().size() != 1)
        throw std::invalid_argument("exactly one DIR is needed; --help tells more");

    SampleGameOptions options;
    options.bytes = parsedBytes(parser.value(size));
    options.seed = parsedNumber(parser.value(seed), u"seed"_s);
    if (parser.isSet(entries))
        options.entries = std::max<std::uint64_t>(parsedNumber(parser.value(entries), u"entries"_s), 1);
    const QString directory = parser.positionalArguments().constFirst();
    const SampleGameTotals totals = writeSampleGame(directory.toStdU16String(), options);
    std::cout << directory.toStdString() << ": " << totals.files << " files in " << totals.directories
              << " directories, " << totals.bytes << " bytes\n";
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    try {
        run(QCoreApplication::arguments());
    } catch (const std::exception& exception) {
        std::cerr << "vok-sample-game: " << exception.what() << '\n';
        return 1;
    }
    return 0;
}
