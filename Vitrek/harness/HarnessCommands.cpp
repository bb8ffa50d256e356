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
#include <string_view>

namespace vitrek::cli {

namespace {

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

int card(const CommandOptions& options, CommandContext& context, int argc, char** argv) {
    drawOffScreen();
    QApplication app(argc, argv);
    // As in the window: the figures keep their decimal point whatever the user's locale.
    std::setlocale(LC_NUMERIC, "C");
    Fmt::setDateFormatter(localeDateFormatter(QLocale::system()));

    std::unique_ptr<Store> store;
    if (options.demo) {
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
    const std::string path = options.out.value_or(
        CardExport::fileName(store->environment().now(), store->environment().calendar()));
    // A place the card cannot go is a bad --out (or a folder the user cannot write), like an unreadable input.
    if (!writeOut(path, *png, context)) {
        return kUsageError;
    }
    if (path != "-") {
        context.out << "Wrote " << path << " (1080 × 1350)\n";
    }
    return 0;
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

} // namespace

int drawingCommand(const Command& command, const CommandOptions& options, CommandContext& context, int argc,
                   char** argv) {
    // Qt sees only the program's name: the command's own arguments are not its options.
    argc = std::min(argc, 1);
    const std::string_view name = command.name;
    if (name == "card") {
        return card(options, context, argc, argv);
    }
    if (name == "selftest") {
        return harness("VITREK_SELFTEST", *options.folder, argc, argv);
    }
    // The snapshot's appearances are the harness's variable too.
    if (options.only) {
        qputenv("VITREK_SNAPSHOT_ONLY", QByteArray::fromStdString(*options.only));
    } else {
        qunsetenv("VITREK_SNAPSHOT_ONLY");
    }
    return harness("VITREK_SNAPSHOT_DIR", *options.folder, argc, argv);
}

} // namespace vitrek::cli
