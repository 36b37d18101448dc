// Fills a history as a large plant does and measures trends: history_bench FILE [VARIABLES HOURS].
// Every variable changes each second. A file that is there already is measured as it is.
#include "panel/feed/history_query.h"
#include "panel/feed/history_store.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QTextStream>

#include <algorithm>
#include <cmath>

namespace {

constexpr qint64 Began = 1'700'000'000'000;
constexpr int SecondsOfBatch = 5;
constexpr qint64 HourMs = 3'600'000;

double valueOf(qint64 variable, qint64 second) {
    return 20 + std::sin(static_cast<double>(variable + second) / 600) * 15 +
           static_cast<double>((variable * 7 + second * 13) % 100) / 100;
}

std::vector<HistoryName> names(int variables) {
    std::vector<HistoryName> names;
    names.reserve(static_cast<std::size_t>(variables));
    for (int i = 0; i < variables; ++i)
        names.push_back({"line", QString("value %1").arg(i), 0, "bar"});
    return names;
}

QString fill(const QString &path, int variables, int hours) {
    HistoryStore store;
    QString error = store.open(path, {365, 1'000'000}, Began);
    if (!error.isEmpty())
        return error;
    const std::vector<qint64> ids = store.idsOf(names(variables));
    std::vector<HistoryRow> rows;
    for (qint64 second = 0; second < hours * 3600LL; ++second) {
        for (const qint64 id : ids) {
            rows.push_back(
                {id, Began + second * 1000 + id % 1000, Quality::Good, valueOf(id, second), {}});
        }
        if ((second + 1) % SecondsOfBatch != 0)
            continue;
        if (!store.write(rows, Began + (second + 1) * 1000))
            return store.takeError();
        rows.clear();
    }
    return {};
}

void measure(const QString &path, int variables, qint64 hours, int points) {
    std::vector<double> times;
    std::size_t most = 0;
    for (int i = 0; i < 20; ++i) {
        QElapsedTimer timer;
        timer.start();
        const QString name = QString("value %1").arg(i * variables / 20);
        const Trend trend = readTrend(path, {name, 0, Began, Began + hours * HourMs, points});
        times.push_back(static_cast<double>(timer.nsecsElapsed()) / 1e6);
        most = std::max(most, trend.points.size());
    }
    std::sort(times.begin(), times.end());
    QTextStream(stdout) << "trend of " << hours << " h, " << most << " points: median "
                        << times[times.size() / 2] << " ms, longest " << times.back() << " ms\n";
}

} // namespace

int main(int argc, char **argv) {
    const QString path = argc > 1 ? argv[1] : "history_bench.sqlite";
    const int variables = argc > 2 ? std::max(1, QString(argv[2]).toInt()) : 1000;
    const int hours = argc > 3 ? std::max(1, QString(argv[3]).toInt()) : 24;
    QElapsedTimer timer;
    timer.start();
    if (!QFileInfo::exists(path)) {
        const QString error = fill(path, variables, hours);
        if (!error.isEmpty()) {
            QTextStream(stderr) << error << '\n';
            return 1;
        }
        const double rows = 3600.0 * variables * hours;
        const auto bytes = static_cast<double>(QFileInfo(path).size());
        const double seconds = static_cast<double>(timer.elapsed()) / 1000;
        QTextStream(stdout) << rows / 1e6 << " million rows, " << bytes / rows
                            << " bytes each, written " << 3600 * hours / seconds
                            << " times as fast as they came\n";
    }
    for (const qint64 span : {qint64(1), qint64(8), qint64(hours)})
        measure(path, variables, span, 2000);
    return 0;
}
