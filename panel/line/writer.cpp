#include "panel/line/writer.h"

#include "panel/file/values.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

namespace {

using End = OneShot::End;

const char *const RunOverFirst = "not made: the run ended first";

QString endText(const char *what, End end, const Variable &variable) {
    switch (end) {
    case End::Resting:
        return QString("%1: station %2 does not answer and is left alone for now")
            .arg(what)
            .arg(variable.station);
    case End::Gone:
        return QString("%1: the device is gone").arg(what);
    case End::NotTaken:
        return "refused by the driver";
    case End::RunOver:
        return QString("%1: the run ended first").arg(what);
    default:
        return what;
    }
}

// Only a read brings the PLC's own word: the driver's image shows a written value at once.
QString readBack(const OneShot &line, const Variable &variable, const QByteArray &written,
                 WriteResult *result) {
    const End end = line.read(variable);
    if (end != End::Answered)
        return endText("not read back", end, variable);
    result->readBack = line.value(variable);
    if (result->readBack == written)
        return {};
    return QString("wrote %1, the PLC has %2")
        .arg(valueText(variable, written), valueText(variable, result->readBack));
}

WriteResult carryOut(const OneShot &line, const Variable &variable, const QByteArray &data) {
    WriteResult result;
    if (line.isRunOver()) {
        result.error = RunOverFirst;
        return result;
    }
    result.isKnown = !variable.isBroadcast();
    // To write another value first would prove more, but the machine would act on it.
    if (result.isKnown && line.read(variable) == End::Answered)
        result.before = line.value(variable);
    const End written = line.write(variable, data);
    if (written != End::Answered) {
        result.error = endText("not acknowledged", written, variable);
    } else if (result.isKnown) {
        result.error = readBack(line, variable, data, &result);
    }
    return result;
}

void refuse(const WriteDone &done, const QString &reason) {
    WriteResult result;
    result.error = reason;
    done(result);
}

} // namespace

// The orders of one line and the thread that carries them out.
class Writer::Lane {
public:
    Lane(const PanelFile &panel, const OneShot &line)
        : m_panel(panel), m_line(line), m_thread([this] { run(); }) {}

    // Empty, or why the order is not taken.
    QString push(WriteOrder order, WriteDone done);
    void stop();

private:
    using Waiting = std::pair<WriteOrder, WriteDone>;

    void run();
    bool takeNext(Waiting *next);

    const PanelFile &m_panel;
    OneShot m_line;
    std::mutex m_mutex; // guards the queue and the flag
    std::condition_variable m_changed;
    std::deque<Waiting> m_queue;
    bool m_isStopped = false;
    std::thread m_thread; // the last member: it begins with all others in place
};

QString Writer::Lane::push(WriteOrder order, WriteDone done) {
    const std::lock_guard lock(m_mutex);
    if (m_isStopped)
        return RunOverFirst;
    if (m_queue.size() >= MostWaiting)
        return QString("not made: %1 writes are waiting already").arg(MostWaiting);
    m_queue.emplace_back(std::move(order), std::move(done));
    m_changed.notify_one();
    return {};
}

void Writer::Lane::stop() {
    {
        const std::lock_guard lock(m_mutex);
        m_isStopped = true;
    }
    m_changed.notify_one();
    if (m_thread.joinable())
        m_thread.join();
}

// False when there will be none.
bool Writer::Lane::takeNext(Waiting *next) {
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this] { return m_isStopped || !m_queue.empty(); });
    if (m_queue.empty())
        return false;
    *next = std::move(m_queue.front());
    m_queue.pop_front();
    return true;
}

void Writer::Lane::run() {
    for (Waiting next; takeNext(&next);) {
        const auto &[order, done] = next;
        done(carryOut(m_line, m_panel.variables[order.variable], order.data));
    }
}

Writer::Writer(const PanelFile &panel, const std::vector<OneShot> &lines) : m_panel(panel) {
    for (const OneShot &line : lines)
        m_lanes.push_back(std::make_unique<Lane>(panel, line));
}

Writer::~Writer() {
    stop();
}

void Writer::write(WriteOrder order, const WriteDone &done) {
    const Variable &variable = m_panel.variables.at(order.variable);
    const QString obstacle = writeObstacle(variable, m_panel.lines.at(variable.line).blockLimit);
    if (!obstacle.isEmpty()) {
        refuse(done, "cannot be written: " + obstacle);
        return;
    }
    if (order.data.size() != variable.hostBytes()) {
        refuse(done, QString("not made: %1 bytes, it has %2")
                         .arg(order.data.size())
                         .arg(variable.hostBytes()));
        return;
    }
    const QString reason = m_lanes.at(variable.line)->push(std::move(order), done);
    if (!reason.isEmpty())
        refuse(done, reason);
}

void Writer::stop() {
    for (const std::unique_ptr<Lane> &lane : m_lanes)
        lane->stop();
}

QString writeText(const PanelFile &panel, const WriteOrder &order, const WriteResult &result) {
    const Variable &variable = panel.variables.at(order.variable);
    QString text = QString("%1: %2").arg(order.origin, variable.name);
    if (!order.data.isEmpty()) // refused before there was any
        text += " = " + valueText(variable, order.data);
    if (!result.before.isEmpty())
        text += QString(" (was %1)").arg(valueText(variable, result.before));
    if (!result.error.isEmpty())
        return text + ": " + result.error;
    return text + (result.isKnown ? ", read back" : ", which nobody acknowledges");
}
