#include "panel/line/line.h"

#include <array>
#include <list>
#include <mutex>
#include <utility>

namespace {

constexpr int WriteToPlc = 2; // ComInfo.commMode

struct DriverMemory {
    ComInfo port{};
    std::array<unsigned char, 1024> localBits{};
    std::array<unsigned char, 2048> localWords{};
    std::array<unsigned char, 2048> localThird{};
};

// The driver keeps these addresses for as long as it is loaded, which is until the process ends.
DriverMemory &lastingMemory() {
    static std::mutex mutex;
    static auto *const all = new std::list<DriverMemory>;
    const std::lock_guard lock(mutex); // the list: lines may be made on several threads
    return all->emplace_back();
}

ComInfo &setUp(const Driver &driver, const LineSettings &settings, RequestLedger *ledger) {
    DriverMemory &memory = lastingMemory();
    memory.port.blockLimit = settings.blockLimit;
    memory.port.retryLimit = settings.retryLimit;
    memory.port.useVarStation = 1;
    memory.port.portId = Line::PortId;
    memory.port.commMode = WriteToPlc;
    memory.port.hostContext = ledger;
    driver.SetComInfo(&memory.port);
    // Requests that are given up show in the results of DataCom.
    driver.RegistCallBackFuncIntf(&RequestLedger::finished, nullptr);
    driver.FlashLocalRegister(memory.localBits.data(), memory.localWords.data(),
                              memory.localThird.data());
    return memory.port;
}

} // namespace

Line::Line(const PanelFile &panel, std::size_t line, const Driver &driver, Blocks driversOwn,
           ExchangeListener listener, const std::atomic<bool> &stopRequested)
    : m_driver(driver), m_serial(panel.lines[line], stopRequested),
      m_loop({panel, line, driver, setUp(driver, panel.lines[line], &m_ledger), m_serial, m_ledger,
              std::move(driversOwn), std::move(listener), stopRequested}) {}

Line::~Line() {
    join();
}

QString Line::start(Missing missing) {
    std::promise<QString> opened;
    std::future<QString> error = opened.get_future();
    m_thread = std::thread([this, &opened, missing] { run(&opened, missing); });
    QString problem = error.get();
    if (!problem.isEmpty() && missing == Missing::EndsIt)
        m_thread.join();
    return problem;
}

// The device belongs to one thread from its opening on.
void Line::run(std::promise<QString> *opened, Missing missing) {
    const QString problem = m_loop.open();
    opened->set_value(problem); // the promise is gone after it
    if (!problem.isEmpty() && missing == Missing::EndsIt)
        return;
    m_loop.run();
    m_ledger.close();
    m_serial.close();
}

void Line::join() {
    if (m_thread.joinable())
        m_thread.join();
}
