// Looks for stations on a line: asks every number at every setting, the likeliest settings first.
#pragma once

#include "panel/file/line_settings.h"
#include "panel/line/serial_port.h"

#include <QString>

#include <atomic>
#include <chrono>
#include <functional>
#include <optional>
#include <vector>

struct SearchSetting {
    int baudRate;
    LineParity parity;
    int stopBits;
};

// "19200 even 1"
QString settingText(const SearchSetting &setting);

// All combinations of what was asked for, or of what is usual where a list is empty and stopBits 0.
std::vector<SearchSetting> searchOrder(const std::vector<int> &baudRates,
                                       const std::vector<LineParity> &parities, int stopBits);

// "1-247", "1,5,20-40": ascending. Nothing when it is no such list, or none of 1 to 247.
std::optional<std::vector<int>> readStations(const QString &text);

struct FoundStation {
    int station;
    SearchSetting setting;
    std::chrono::microseconds replyTime; // as Exchange has it
    bool hasHolding;                     // holding register 0
    bool hasInput;                       // input register 0; asked only where the other is missing
};

class StationSearch {
public:
    struct Plan {
        QString device;
        std::vector<SearchSetting> settings;
        std::vector<int> stations;
        int timeoutMs = 0; // 0: as short as stations allow
    };
    struct Progress {
        std::size_t setting; // index in Plan::settings
        int station;
        std::chrono::seconds left;
    };

    // `stopRequested` outlives the search.
    StationSearch(Plan plan, const std::atomic<bool> &stopRequested);

    // Called before each station is asked, and as soon as one is found.
    std::function<void(const Progress &)> onProgress;
    std::function<void(const FoundStation &)> onFound;

    // Returns when all is tried or a stop is requested: empty, or why the device does not serve.
    QString run();

    const std::vector<FoundStation> &found() const { return m_found; }
    // Bytes came that were no answer: another setting, or noise.
    bool heardGarbage() const { return m_heardGarbage; }
    // Most of our requests came back.
    bool hearsItself() const { return m_echoes * 2 > m_asked; }

private:
    QString searchAt(std::size_t index);
    void ask(SerialPort &port, const SearchSetting &setting, int station);
    void hearLastAnswers(SerialPort &port, const SearchSetting &setting);
    void askPatiently(SerialPort &port, const SearchSetting &setting, int station);
    void note(SerialPort &port, const SearchSetting &setting, const Exchange &exchange);
    bool isFound(const SearchSetting &setting, int station) const;
    LineSettings lineOf(const SearchSetting &setting) const;
    std::chrono::microseconds timeout(const SearchSetting &setting) const;
    std::chrono::seconds timeLeft(std::size_t setting, std::size_t stationIndex) const;

    Plan m_plan;
    const std::atomic<bool> &m_stopRequested;
    std::vector<FoundStation> m_found;
    bool m_heardGarbage = false;
    int m_asked = 0;
    int m_echoes = 0;       // of these
    int m_garbledTries = 0; // at the setting under way
    int m_lastAsked = 0;    // there; 0 none
};
