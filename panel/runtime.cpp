#include "runtime.h"

#include <array>
#include <thread>

namespace {

constexpr int WriteToPlc = 2; // ComInfo.commMode
constexpr int PortId = 1;

// The driver keeps these addresses for as long as it is loaded, which is until the process ends.
ComInfo portBlock{};
std::array<unsigned char, 1024> localBits{};
std::array<unsigned char, 2048> localWords{};
std::array<unsigned char, 2048> localThird{};

} // namespace

Runtime::Runtime(const Driver &driver, const PanelFile &panel, SerialLine &line,
                 const std::atomic<bool> &stopRequested)
    : m_driver(driver), m_panel(panel), m_port(portBlock), m_watch(driver, panel.variables),
      m_rest(driver, m_ledger, std::chrono::seconds(panel.port.restAfterGiveUpSeconds)),
      m_jobs(driver, m_port, panel, m_ledger), m_screen(driver, panel, m_watch, m_statistics),
      m_line(line), m_loop({driver, m_port, line, m_statistics, m_watch, m_rest,
                            std::chrono::milliseconds(panel.port.quietAfterFailureMs),
                            m_jobs.done(), stopRequested}) {}

Summary Runtime::run(const RunLimit &limit) {
    setUpDriver();
    registerPolledVariables();
    std::thread screen([this] { m_screen.run(); });
    std::thread jobs([this] { m_jobs.run(); });
    m_loop.run(limit);

    m_ledger.close();
    jobs.join();
    m_screen.stop();
    screen.join();
    return summarise(m_panel, m_statistics, m_watch, m_jobs, m_line.lateBytes());
}

void Runtime::setUpDriver() {
    m_port.blockLimit = m_panel.blockLimit;
    m_port.retryLimit = m_panel.retryLimit;
    m_port.useVarStation = 1;
    m_port.portId = PortId;
    m_port.commMode = WriteToPlc;
    m_port.hostContext = &m_ledger;
    m_driver.SetComInfo(&m_port);
    // Requests that are given up show in the results of DataCom.
    m_driver.RegistCallBackFuncIntf(&RequestLedger::finished, nullptr);
    m_driver.FlashLocalRegister(localBits.data(), localWords.data(), localThird.data());
}

void Runtime::registerPolledVariables() {
    QList<VARDEF> definitions;
    for (const Variable &variable : m_panel.variables) {
        if (variable.once || variable.isBroadcast())
            continue;
        VARDEF definition;
        definition.regType = static_cast<unsigned char>(variable.regType);
        definition.station = static_cast<unsigned char>(variable.station);
        definition.addressText = variable.addressText;
        definition.hostText = variable.name;
        definition.count = variable.hostCount();
        definitions += definition;
    }
    m_driver.ReCreatReadVarList(&definitions);
}
