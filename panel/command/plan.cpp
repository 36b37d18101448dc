// panel plan: what a panel file will ask for, and how long a pass takes. Talks to nobody.
#include "panel/command/command.h"
#include "panel/command/plan_report.h"
#include "panel/line/driver_copy.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTextStream>

#include <memory>
#include <utility>

namespace {

constexpr double MaxReplyTimeMs = 60'000;

struct PlanOptions {
    std::string file;
    std::string driverLibrary;
    bool json = false;
    double replyTimeMs = static_cast<double>(AssumedStationTime.count());
};

QString textOf(const std::vector<LinePlans> &lines) {
    QStringList texts;
    for (const LinePlans &plans : lines)
        texts += planText(plans);
    return texts.join('\n');
}

QString jsonOf(const std::vector<LinePlans> &lines) {
    QJsonArray array;
    for (const LinePlans &plans : lines)
        array += planJson(plans);
    return QJsonDocument(QJsonObject{{"lines", array}}).toJson();
}

int plan(const PlanOptions &options) {
    QStringList errors;
    const auto panel = readPanelFile(pathText(options.file), &errors);
    for (const QString &wrong : errors)
        complain(wrong, WrongInput);
    if (!panel)
        return WrongInput;
    std::vector<LinePlans> lines;
    for (std::size_t line = 0; line < panel->lines.size(); ++line) {
        Driver driver;
        const QString error = loadDriverCopy(libraryPath(options.driverLibrary), &driver);
        if (!error.isEmpty())
            return complain(error, WrongInput);
        lines.push_back(planLine(driver, *panel, line, options.replyTimeMs));
    }
    QTextStream(stdout) << (options.json ? jsonOf(lines) : textOf(lines));
    return AllHeld;
}

} // namespace

Command addPlanCommand(CLI::App &program) {
    const auto options = std::make_shared<PlanOptions>();
    CommandOptions app(program, "plan",
                       "Shows what a panel file will ask for, and how long a pass takes");
    app.footer("Both plans are shown, the driver's own and the fastest; the field \"plan\" of a\n"
               "line in the panel file chooses. Registers are numbered as on the wire, from 0.\n"
               "Talks to nobody. Exit status: 0, or 2 wrong options, file or library.");
    app.add("FILE", &options->file, "The panel file (JSON)").required();
    addLibraryOption(app, &options->driverLibrary);
    app.addFlag("--json", &options->json, "Print JSON");
    app.add("--reply-time", &options->replyTimeMs,
            "From the end of a request to the answer, as stations are taken to need (5)")
        .between(0.0, MaxReplyTimeMs)
        .shownAs("MS");
    return {app.command(), [options] {
                return plan(*options);
            }};
}
