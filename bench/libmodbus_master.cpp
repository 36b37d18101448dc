// libmodbus's own master, reading blocks of holding registers round and round for comparison with
// the panel: libmodbus_master DEVICE BAUD SECONDS PAUSE-US STATION:REGISTER:COUNT...
// Prints one line: exchanges, failures, milliseconds of a pass. A pass is the sum of the median
// time of each block. PAUSE-US is kept before each request, which libmodbus does not do by itself.
#include <modbus.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <thread>
#include <vector>

#include <sys/prctl.h>

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr int DataBits = 8;
constexpr int StopBits = 1;
constexpr int ReadFailed = 1;
constexpr int WrongOptions = 2;
constexpr int NoDevice = 3;

struct Block {
    int station = 0;
    int first = 0;
    int count = 0;
};

using Times = std::vector<double>; // milliseconds

struct Closing {
    void operator()(modbus_t *master) const {
        modbus_close(master);
        modbus_free(master);
    }
};
using Master = std::unique_ptr<modbus_t, Closing>;

bool readNumber(const char **text, int low, int high, char behind, int *number) {
    char *end = nullptr;
    const long value = std::strtol(*text, &end, 10);
    if (end == *text || *end != behind || value < low || value > high)
        return false;
    *number = static_cast<int>(value);
    *text = end + (behind == '\0' ? 0 : 1);
    return true;
}

bool readBlock(const char *text, Block *block) {
    return readNumber(&text, 1, 247, ':', &block->station) &&
           readNumber(&text, 0, 65535, ':', &block->first) &&
           readNumber(&text, 1, MODBUS_MAX_READ_REGISTERS, '\0', &block->count);
}

bool isRead(const Block &block, modbus_t *master) {
    std::array<std::uint16_t, MODBUS_MAX_READ_REGISTERS> registers{};
    return modbus_set_slave(master, block.station) == 0 &&
           modbus_read_registers(master, block.first, block.count, registers.data()) == block.count;
}

// The times of each block; nothing when a read failed.
std::vector<Times> readRound(modbus_t *master, const std::vector<Block> &blocks,
                             Clock::time_point end, std::chrono::microseconds pause) {
    std::vector<Times> times(blocks.size());
    auto before = Clock::now();
    while (before < end) {
        for (std::size_t i = 0; i < blocks.size(); ++i) {
            if (pause.count() > 0)
                std::this_thread::sleep_for(pause);
            if (!isRead(blocks[i], master))
                return {};
            const auto now = Clock::now();
            times[i].push_back(Milliseconds(now - before).count());
            before = now;
        }
    }
    return times;
}

double median(Times times) {
    const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), middle, times.end());
    return *middle;
}

int complain(const char *what) {
    static_cast<void>(std::fprintf(stderr, "libmodbus_master: %s\n", what));
    return WrongOptions;
}

} // namespace

int main(int argc, char **argv) {
    if (argc < 6)
        return complain("expected DEVICE BAUD SECONDS PAUSE-US STATION:REGISTER:COUNT...");
    int baud = 0;
    int seconds = 0;
    int pauseUs = 0;
    const char *const *number = argv + 2;
    for (int *target : {&baud, &seconds, &pauseUs}) {
        const char *text = *number++;
        if (!readNumber(&text, target == &pauseUs ? 0 : 1, 4'000'000, '\0', target))
            return complain("BAUD, SECONDS and PAUSE-US are whole numbers");
    }
    std::vector<Block> blocks(static_cast<std::size_t>(argc - 5));
    for (Block &block : blocks) {
        if (!readBlock(argv[5 + (&block - blocks.data())], &block))
            return complain("expected blocks as STATION:REGISTER:COUNT");
    }
    const Master master(modbus_new_rtu(argv[1], baud, 'E', DataBits, StopBits));
    if (!master || modbus_connect(master.get()) != 0) {
        static_cast<void>(
            std::fprintf(stderr, "libmodbus_master: %s: %s\n", argv[1], modbus_strerror(errno)));
        return NoDevice;
    }
    ::prctl(PR_SET_TIMERSLACK, 1UL); // the pause is to be exact
    const std::vector<Times> times =
        readRound(master.get(), blocks, Clock::now() + std::chrono::seconds(seconds),
                  std::chrono::microseconds(pauseUs));
    if (times.empty()) {
        static_cast<void>(std::fprintf(stderr, "libmodbus_master: %s\n", modbus_strerror(errno)));
        return ReadFailed;
    }
    double sum = 0;
    for (const Times &each : times)
        sum += median(each);
    std::printf("%.3f\n", sum);
    return 0;
}
