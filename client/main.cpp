// quorvanectl: drives Quorvane from the command line, over the wire alone.
#include "client/verbs.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QTextStream>

#include <algorithm>

namespace
{
using std::chrono::milliseconds;

constexpr const char *exitCodes =
    "Exit codes:\n"
    "  0  done\n"
    "  1  the output could not be written\n"
    "  2  wrong usage\n"
    "  3  nothing listens there, or the program ended the connection\n"
    "  4  no such endpoint, channel or application\n"
    "  5  more than one endpoint, channel or application is meant\n"
    "  6  the program refused\n"
    "  7  no answer in time\n";

constexpr const char *endpointHelp =
    "Endpoints go by name or ID, channels and their endpoints also by one word, as \"Gaming\";\n"
    "upper and lower case are alike, and an unambiguous beginning is enough.\n";

constexpr const char *newestClientHelp =
    "The program sends its answers and events to its newest client only. A client that was there\n"
    "before has to connect again to get events once more.\n";

const QList<QCommandLineOption> &commonOptions()
{
    static const QList<QCommandLineOption> options{
        {{"h", "help"}, "Show this help, or a verb's."},
        {"host", "The program's host (127.0.0.1).", "name"},
        {"port", "The program's port (24925).", "number"},
        {"timeout", "The longest wait for an answer (5).", "seconds"},
        {"json", "Print JSON, one document a line."},
    };
    return options;
}

const QList<QCommandLineOption> &verbOptions()
{
    static const QList<QCommandLineOption> options{
        {"output", "Only outputs count."},
        {"input", "Only inputs count."},
        {"for", "Go on for so long.", "seconds"},
        {"count", "End after so many events.", "number"},
    };
    return options;
}

QString optionLine(const QCommandLineOption &option)
{
    const QString value = option.valueName().isEmpty() ? "" : " " + option.valueName().toUpper();
    return QStringLiteral("  %1 %2\n")
        .arg("--" + option.names().last() + value, -20)
        .arg(option.description());
}

bool takes(const Verb &verb, const QString &option)
{
    return std::any_of(verb.options.begin(), verb.options.end(),
                       [&](const char *name) { return name && option == QLatin1StringView(name); });
}

QString usage(const Verb &verb)
{
    return QStringLiteral("quorvanectl %1 %2").arg(verb.name, verb.arguments).trimmed();
}

QString helpText()
{
    QString text = "Usage: quorvanectl [OPTIONS] VERB [ARGUMENTS]\n\nVerbs:\n";
    for (const Verb &verb : verbs()) {
        text += QStringLiteral("  %1 %2\n")
                    .arg(QStringLiteral("%1 %2").arg(verb.name, verb.arguments), -30)
                    .arg(verb.summary);
    }
    text += '\n' + QString(endpointHelp) + "\nOptions:\n";
    for (const QCommandLineOption &option : commonOptions())
        text += optionLine(option);
    return text + '\n' + newestClientHelp + '\n' + exitCodes;
}

QString helpText(const Verb &verb)
{
    QString text = QStringLiteral("Usage: %1\n\n%2").arg(usage(verb), verb.help);
    if (QString(verb.arguments).contains("ENDPOINT"))
        text += endpointHelp;
    text += "\nOptions:\n";
    for (const QCommandLineOption &option : verbOptions()) {
        if (takes(verb, option.names().first()))
            text += optionLine(option);
    }
    for (const QCommandLineOption &option : commonOptions())
        text += optionLine(option);
    return text + '\n' + exitCodes;
}

Exit misuse(const QString &reason)
{
    return fail(Exit::Usage, reason + "; see quorvanectl --help");
}

/// A whole number in these bounds.
Result<int> parseNumber(const QCommandLineParser &parser, const QString &option, int least,
                        int most)
{
    bool isNumber = false;
    const int number = parser.value(option).toInt(&isNumber);
    if (isNumber && number >= least && number <= most)
        return number;
    return misuse(
        QStringLiteral("--%1 takes a whole number from %2 to %3").arg(option).arg(least).arg(most));
}

/// Seconds up to a day, with fractions.
Result<milliseconds> parseSeconds(const QCommandLineParser &parser, const QString &option)
{
    constexpr double longest = 24 * 60 * 60;
    bool isNumber = false;
    const double seconds = parser.value(option).toDouble(&isNumber);
    if (isNumber && seconds > 0 && seconds <= longest)
        return milliseconds(qint64(seconds * 1000));
    return misuse(QStringLiteral("--%1 takes seconds, more than 0").arg(option));
}

Result<Options> parseOptions(const QCommandLineParser &parser)
{
    Options options;
    options.json = parser.isSet("json");
    if (parser.isSet("host"))
        options.host = parser.value("host");
    if (parser.isSet("port")) {
        const auto port = parseNumber(parser, "port", 1, 65535);
        if (!port)
            return port.exit();
        options.port = quint16(*port);
    }
    if (parser.isSet("count")) {
        const auto count = parseNumber(parser, "count", 1, 1'000'000'000);
        if (!count)
            return count.exit();
        options.count = *count;
    }
    if (parser.isSet("timeout")) {
        const auto timeout = parseSeconds(parser, "timeout");
        if (!timeout)
            return timeout.exit();
        options.timeout = *timeout;
    }
    if (parser.isSet("for")) {
        const auto duration = parseSeconds(parser, "for");
        if (!duration)
            return duration.exit();
        options.duration = *duration;
    }
    if (parser.isSet("output") && parser.isSet("input"))
        return misuse("--output and --input exclude each other");
    if (parser.isSet("output"))
        options.direction = Direction::Output;
    if (parser.isSet("input"))
        options.direction = Direction::Input;
    return options;
}

Exit run(const Verb &verb, const QCommandLineParser &parser)
{
    const QStringList arguments = parser.positionalArguments().mid(1);
    if (arguments.size() < verb.leastArguments || arguments.size() > verb.mostArguments)
        return misuse(QStringLiteral("usage: %1").arg(usage(verb)));
    for (const QCommandLineOption &option : verbOptions()) {
        const QString name = option.names().first();
        if (parser.isSet(name) && !takes(verb, name))
            return misuse(QStringLiteral("%1 takes no --%2").arg(verb.name, name));
    }
    const auto options = parseOptions(parser);
    if (!options)
        return options.exit();
    Session session(*options);
    const Exit code = verb.run(session, arguments);
    if (code == Exit::Ok && session.isOutputLost())
        return fail(Exit::NoOutput, "the output could not be written");
    return code;
}

Exit run(const QStringList &commandLine)
{
    QCommandLineParser parser;
    parser.addOptions(commonOptions() + verbOptions());
    if (!parser.parse(commandLine))
        return misuse(parser.errorText());

    const QString name = parser.positionalArguments().value(0);
    const auto verb = std::find_if(verbs().begin(), verbs().end(), [&](const Verb &candidate) {
        return name == QLatin1StringView(candidate.name);
    });
    const bool isKnown = verb != verbs().end();
    if (!name.isEmpty() && !isKnown)
        return misuse(QStringLiteral("there is no verb \"%1\"").arg(name));
    if (parser.isSet("help")) {
        QTextStream(stdout) << (isKnown ? helpText(*verb) : helpText());
        return Exit::Ok;
    }
    if (!isKnown)
        return misuse("a verb is missing");
    return run(*verb, parser);
}
} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    return int(run(QCoreApplication::arguments()));
}
