// panel find: which stations answer on a line, and at which settings.
#include "panel/command/device_options.h"
#include "panel/command/station_search.h"
#include "panel/command/stop_request.h"
#include "panel/health/exchange_text.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>
#include <QTextStream>

#include <algorithm>
#include <memory>

#include <unistd.h>

namespace {

struct FindOptions {
    std::string device;
    std::string driverLibrary; // taken and not needed
    std::vector<int> baudRates;
    std::vector<std::string> parities;
    int stopBits = 0;
    std::string stations = "1-247";
    int timeoutMs = 0;
    std::string file;
};

const char *const ClearLine = "\r\x1b[K";

// On a terminal alone, and never in what is piped on.
void showProgress(const StationSearch::Plan &plan, const StationSearch::Progress &progress) {
    if (::isatty(STDERR_FILENO) == 0)
        return;
    QTextStream(stderr) << ClearLine
                        << QString("%1 (%2 of %3): station %4, %5 left")
                               .arg(settingText(plan.settings[progress.setting]))
                               .arg(progress.setting + 1)
                               .arg(plan.settings.size())
                               .arg(progress.station)
                               .arg(spanText(progress.left));
}

void clearProgress() {
    if (::isatty(STDERR_FILENO) != 0)
        QTextStream(stderr) << ClearLine;
}

void showFound(const FoundStation &found) {
    clearProgress();
    const auto time = std::chrono::round<std::chrono::milliseconds>(found.replyTime).count();
    QTextStream(stdout) << QString("station %1: %2, answers in %3 ms\n")
                               .arg(found.station)
                               .arg(settingText(found.setting))
                               .arg(std::max<qint64>(time, 1));
}

// A line has one setting: the one that most stations answer at.
SearchSetting commonSetting(const std::vector<FoundStation> &found) {
    const auto votes = [&found](const FoundStation &one) {
        return std::count_if(found.begin(), found.end(), [&one](const FoundStation &other) {
            return settingText(one.setting) == settingText(other.setting);
        });
    };
    return std::max_element(found.begin(), found.end(),
                            [&votes](const FoundStation &a, const FoundStation &b) {
                                return votes(a) < votes(b);
                            })
        ->setting;
}

QJsonObject variableOf(const FoundStation &found) {
    constexpr int InputWord = 6;
    constexpr int HoldingWord = 7;
    const bool isInput = !found.hasHolding && found.hasInput;
    QJsonObject variable{
        {"name", QString("station %1 %2 0").arg(found.station).arg(isInput ? "input" : "holding")},
        {"station", found.station},
        {"registerType", isInput ? InputWord : HoldingWord},
        {"address", "0"},
        {"format", "uint16"}};
    if (!found.hasHolding && !found.hasInput)
        variable["comment"] = "The station answers, but refuses this register: name one it has.";
    return variable;
}

QByteArray panelFileOf(const QString &device, const StationSearch &search) {
    const std::vector<FoundStation> &found = search.found();
    const SearchSetting setting = commonSetting(found);
    QJsonArray variables;
    for (const FoundStation &one : found) {
        if (settingText(one.setting) == settingText(setting))
            variables += variableOf(one);
    }
    QJsonObject port{{"device", device},
                     {"baudRate", setting.baudRate},
                     {"parity", parityName(setting.parity)},
                     {"stopBits", setting.stopBits}};
    if (search.hearsItself())
        port["localEcho"] = true;
    return QJsonDocument(QJsonObject{{"port", port}, {"variables", variables}}).toJson();
}

int writePanelFile(const QString &path, const QByteArray &json) {
    QSaveFile file(path);
    if (file.open(QIODevice::WriteOnly) && file.write(json) == json.size() && file.commit())
        return AllHeld;
    return complain(path + ": " + file.errorString(), NotAllHeld);
}

// A search takes minutes: whether its file can be made is seen before.
QString whyNotMade(const QString &path) {
    if (QFileInfo::exists(path))
        return path + ": is there already";
    QSaveFile file(path); // nothing of it stays
    return file.open(QIODevice::WriteOnly) ? QString() : path + ": " + file.errorString();
}

// What the options say, or nothing after a line.
std::optional<StationSearch::Plan> planOf(const FindOptions &options) {
    const auto stations = readStations(QString::fromStdString(options.stations));
    if (!stations) {
        complain("--stations " + QString::fromStdString(options.stations) +
                     ": expected numbers from 1 to 247, as in 1,5,20-40",
                 WrongInput);
        return {};
    }
    const QString wrong = options.file.empty() ? QString() : whyNotMade(pathText(options.file));
    if (!wrong.isEmpty()) {
        complain(wrong, WrongInput);
        return {};
    }
    std::vector<LineParity> parities;
    for (const std::string &name : options.parities)
        parities.push_back(parityNames().at(name));
    return StationSearch::Plan{pathText(options.device),
                               searchOrder(options.baudRates, parities, options.stopBits),
                               *stations, options.timeoutMs};
}

// What the search has to say besides the stations.
QString endText(const StationSearch &search) {
    QStringList parts;
    if (search.hearsItself())
        parts += "our own request comes back (echo)";
    if (search.found().empty())
        parts += "no station answered";
    if (search.found().empty() && search.heardGarbage())
        parts += "bytes came that are no answer: other settings, or noise";
    return parts.isEmpty() ? QString() : parts.join("; ") + '\n';
}

int find(const FindOptions &options) {
    const auto plan = planOf(options);
    if (!plan)
        return WrongInput;
    StationSearch search(*plan, stopOnSignals());
    search.onProgress = [&plan](const auto &progress) {
        showProgress(*plan, progress);
    };
    search.onFound = showFound;
    const QString error = search.run();
    clearProgress();
    if (!error.isEmpty())
        return complain(error, DeviceLost);
    QTextStream(stdout) << endText(search);
    if (search.found().empty())
        return NotAllHeld;
    if (options.file.empty())
        return AllHeld;
    return writePanelFile(pathText(options.file), panelFileOf(plan->device, search));
}

} // namespace

Command addFindCommand(CLI::App &program) {
    const auto options = std::make_shared<FindOptions>();
    CommandOptions app(program, "find", "Finds the stations on a line, and their settings");
    app.footer("Reads holding register 0 of every station; a refusal is an answer, too. Tries\n"
               "19200 and 9600 baud first, then 38400, 115200, 57600, then 4800, 2400, 1200;\n"
               "within each of these groups even parity with 1 stop bit, then none 1, none 2,\n"
               "odd 1. Bauds that are given are tried as one group, in their order. All 247\n"
               "stations take about 15 s for each setting. Ctrl-C ends with what was found.\n"
               "Exit status: 0 a station was found, 1 none, 2 wrong options, 3 no device.");
    app.add("DEVICE", &options->device, "The serial device").required().shownAs("");
    app.add("--baud", &options->baudRates, "Baud rates to try, as in 9600,19200")
        .partedByCommas()
        .between(LowestBaudRate, HighestBaudRate)
        .shownAs("LIST");
    app.add("--parity", &options->parities, "Parities to try, as in even,none")
        .partedByCommas()
        .oneOf(allParityNames())
        .shownAs("LIST");
    app.add("--stop-bits", &options->stopBits, "Stop bits to try alone: 1 or 2")
        .between(1, 2)
        .shownAs("N");
    app.add("--stations,--station", &options->stations, "Stations to ask, as in 1,5,20-40 (1-247)")
        .shownAs("RANGE");
    app.add("--timeout", &options->timeoutMs,
            "Milliseconds that a station gets to begin its answer (50 or more)")
        .between(1, HighestTimeoutMs)
        .shownAs("MS");
    app.add("--file", &options->file, "Write a panel file to start from").shownAs("PATH");
    app.add("--library", &options->driverLibrary, "Not needed: no driver is asked").shownAs("PATH");
    return {app.command(), [options] {
                return find(*options);
            }};
}
