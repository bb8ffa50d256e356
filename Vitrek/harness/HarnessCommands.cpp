#include "harness/HarnessCommands.h"

#include "Store.h"
#include "card/CardExport.h"
#include "cli/CommandOptions.h"
#include "cli/ReportCommand.h"
#include "demo/DemoData.h"
#include "shell/ImageFiles.h"
#include "shell/LocaleDates.h"
#include "shell/VitrekApplication.h"

#include <QApplication>

#include <algorithm>
#include <clocale>
#include <memory>
#include <ostream>
#include <vector>

namespace vitrek::cli {

namespace {

constexpr const char* kCardUsage =
    "usage: vitrek card [--out FILE] [--demo] [--reading FILE] [--journal FILE|-|--log FILE|-] [--now TIME]\n"
    "                   [--tz ZONE]\n"
    "\n"
    "Writes today's share card, a 1080 × 1350 PNG, without opening a window. It records nothing.\n"
    "\n"
    "  --out FILE  where to write it (- for standard output); default \"Vitrek YYYY-MM-DD.png\" here\n"
    "  --demo      the demo machine's card instead of this machine's\n"
    "\n"
    "The other options choose the check-up as for vitrek report.\n";

constexpr const char* kSelfTestUsage =
    "usage: vitrek selftest DIR\n"
    "\n"
    "Checks the program on the demo machine: the scores, the Health Monitor, the streak, the share card and\n"
    "the sample files. Prints the report, writes it to DIR/selftest.txt with DIR/card.png and DIR/data, and\n"
    "exits with 0 when everything passed, 1 otherwise. Your own data is not touched.\n";

constexpr const char* kSnapshotUsage =
    "usage: vitrek snapshot DIR [--only light|dark]\n"
    "\n"
    "Renders the screens on the demo machine to PNG files in DIR: the main window (01, 02), the tray\n"
    "panel (03), Settings (04), Health (07) and Settings on a desktop without a tray (08) in the light\n"
    "and dark appearances, the share card (05) and a day that needs care (06). Your own data is not\n"
    "touched.\n"
    "\n"
    "  --only light|dark  render only that appearance (05 and 06 are always made)\n";

bool isHelp(const std::string& argument) { return argument == "--help" || argument == "-h"; }

// The harness draws off screen unless told which platform to use: no window opens, and the images have
// the same pixels on every desktop.
void drawOffScreen() {
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
}

bool writeOut(const std::string& path, const QByteArray& bytes, CommandContext& context) {
    if (path == "-") {
        // Whether standard output took it is for the dispatcher to check, as for every command.
        context.out.write(bytes.constData(), bytes.size());
        return true;
    }
    QString error;
    if (!writeAtomically(QString::fromStdString(path), bytes, &error)) {
        context.err << "vitrek: card: couldn’t write " << path << ": " << error.toStdString() << "\n";
        return false;
    }
    return true;
}

int card(std::span<const std::string> arguments, CommandContext& context, int argc, char** argv) {
    std::optional<std::string> out;
    bool demo = false;
    std::vector<std::string> rest;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        if (argument == "--demo") {
            demo = true;
        } else if (argument == "--out" || argument.starts_with("--out=")) {
            if (out) {
                context.err << "vitrek: card: --out given twice\n";
                return kUsageError;
            }
            if (argument != "--out") {
                out = argument.substr(6);
            } else if (i + 1 < arguments.size()) {
                out = arguments[++i];
            }
            if (!out || out->empty()) {
                context.err << "vitrek: card: --out needs a file (or - for standard output)\n";
                return kUsageError;
            }
        } else {
            rest.push_back(argument);
        }
    }
    const auto parsed = parseCommandOptions("card", rest, true);
    if (const auto* error = std::get_if<UsageError>(&parsed)) {
        context.err << "vitrek: " << error->message << "\n";
        return kUsageError;
    }
    const auto& options = std::get<CommandOptions>(parsed);
    if (options.help) {
        context.out << kCardUsage;
        return 0;
    }
    if (options.json) {
        context.err << "vitrek: card: --json is not an option of card (the card is an image)\n";
        return kUsageError;
    }
    if (demo && (options.readingPath || options.logPath || options.journalPath)) {
        context.err << "vitrek: card: --demo draws the demo machine and reads no other input\n";
        return kUsageError;
    }

    drawOffScreen();
    QApplication app(argc, argv);
    // As in the window: the figures keep their decimal point whatever the user's locale.
    std::setlocale(LC_NUMERIC, "C");
    Fmt::setDateFormatter(localeDateFormatter(QLocale::system()));

    std::unique_ptr<Store> store;
    if (demo) {
        auto environment = StoreEnvironment::system();
        const Instant now = options.now.value_or(context.now());
        const auto calendar = optionCalendar(options, "card", context.err);
        if (!calendar) {
            return kUsageError;
        }
        environment.now = [now] { return now; };
        environment.calendar = [calendar = *calendar] { return calendar; };
        environment.isDemo = [] { return true; };
        store = std::make_unique<Store>(environment);
        DemoData::fill(*store);
    } else {
        store = checkUp(options, context, "card");
        if (!store) {
            return kUsageError;
        }
    }

    const auto png = CardExport::png(*store);
    if (!png) {
        context.err << "vitrek: card: the card couldn’t be drawn\n";
        return 1;
    }
    const std::string path =
        out.value_or(CardExport::fileName(store->environment().now(), store->environment().calendar()));
    // A place the card cannot go is a bad --out (or a folder the user cannot write), like an unreadable input.
    if (!writeOut(path, *png, context)) {
        return kUsageError;
    }
    if (path != "-") {
        context.out << "Wrote " << path << " (1080 × 1350)\n";
    }
    return 0;
}

// The folder argument of `selftest` and `snapshot`, and the rest of the arguments; absent with the error
// written when there is not exactly one folder.
std::optional<std::string> folderArgument(std::string_view command, std::span<const std::string> arguments,
                                          std::vector<std::string>& options, CommandContext& context) {
    std::optional<std::string> dir;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        if (argument.starts_with("-") && argument != "-") {
            options.push_back(argument);
            if (argument == "--only" && i + 1 < arguments.size()) {
                options.push_back(arguments[++i]);
            }
        } else if (dir) {
            context.err << "vitrek: " << command << ": one folder only, got '" << *dir << "' and '" << argument
                        << "'\n";
            return std::nullopt;
        } else {
            dir = argument;
        }
    }
    if (!dir || dir->empty()) {
        context.err << "vitrek: " << command << " needs a folder to write to (vitrek " << command << " DIR)\n";
        return std::nullopt;
    }
    return dir;
}

// Runs the launch's harness through the same environment variables a script would set.
int harness(const char* variable, const std::string& dir, int argc, char** argv) {
    // The command runs the harness it names: a snapshot folder left in the caller's environment would
    // otherwise take precedence.
    qunsetenv("VITREK_SNAPSHOT_DIR");
    qputenv(variable, QByteArray::fromStdString(dir));
    drawOffScreen();
    return runApplication(argc, argv);
}

int selftest(std::span<const std::string> arguments, CommandContext& context, int argc, char** argv) {
    if (!arguments.empty() && isHelp(arguments[0])) {
        context.out << kSelfTestUsage;
        return 0;
    }
    std::vector<std::string> options;
    const auto dir = folderArgument("selftest", arguments, options, context);
    if (!dir) {
        return kUsageError;
    }
    if (!options.empty()) {
        context.err << "vitrek: selftest: unknown option " << options[0] << "\n";
        return kUsageError;
    }
    return harness("VITREK_SELFTEST", *dir, argc, argv);
}

int snapshot(std::span<const std::string> arguments, CommandContext& context, int argc, char** argv) {
    if (!arguments.empty() && isHelp(arguments[0])) {
        context.out << kSnapshotUsage;
        return 0;
    }
    std::vector<std::string> options;
    const auto dir = folderArgument("snapshot", arguments, options, context);
    if (!dir) {
        return kUsageError;
    }
    std::optional<std::string> only;
    for (std::size_t i = 0; i < options.size(); ++i) {
        std::string value;
        if (options[i] == "--only" && i + 1 < options.size()) {
            value = options[++i];
        } else if (options[i].starts_with("--only=")) {
            value = options[i].substr(7);
        } else if (options[i] == "--only") {
            context.err << "vitrek: snapshot: --only needs light or dark\n";
            return kUsageError;
        } else {
            context.err << "vitrek: snapshot: unknown option " << options[i] << "\n";
            return kUsageError;
        }
        if (value != "light" && value != "dark") {
            context.err << "vitrek: snapshot: --only takes light or dark, not '" << value << "'\n";
            return kUsageError;
        }
        only = value;
    }
    if (only) {
        qputenv("VITREK_SNAPSHOT_ONLY", QByteArray::fromStdString(*only));
    } else {
        qunsetenv("VITREK_SNAPSHOT_ONLY");
    }
    return harness("VITREK_SNAPSHOT_DIR", *dir, argc, argv);
}

} // namespace

int drawingCommand(std::span<const std::string> arguments, CommandContext& context, int argc, char** argv) {
    const std::string& command = arguments[0];
    // Qt sees only the program's name: the command's own arguments are not its options.
    argc = std::min(argc, 1);
    if (command == "card") {
        return card(arguments.subspan(1), context, argc, argv);
    }
    if (command == "selftest") {
        return selftest(arguments.subspan(1), context, argc, argv);
    }
    return snapshot(arguments.subspan(1), context, argc, argv);
}

} // namespace vitrek::cli
