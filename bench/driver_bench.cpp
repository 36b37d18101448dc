// What the driver's roads cost: build/bench/driver_bench
#include "bench/bench_line.h"
#include "driver/Communication_Protocol.h"
#include "modbus/checksums.h"

#include <benchmark/benchmark.h>

namespace {

constexpr int BlockRegisters = 120;

// One cyclic variable that fills a block, read over and over: request, check, image.
void readOfFullBlock(benchmark::State &state) {
    VARDEF block;
    block.regType = 7;
    block.station = 1;
    block.addressText = "0";
    block.count = BlockRegisters;
    QList<VARDEF> definitions{block};
    ReCreatReadVarList(&definitions);
    QByteArray reply = benchReply(*ComCommunication());
    DataCom(&reply, reply.size());
    while (state.KeepRunning()) {
        benchmark::DoNotOptimize(ComCommunication());
        if (DataCom(&reply, reply.size())->result != 1) {
            state.SkipWithError("the reply was not good");
        }
    }
    state.SetBytesProcessed(state.iterations() * BlockRegisters * 2);
}
BENCHMARK(readOfFullBlock);

// A screen's read of four elements; the 32-bit and 64-bit types count registers.
void getRegisterData(benchmark::State &state) {
    const int regType = static_cast<int>(state.range(0));
    QString hostText;
    QByteArray answer;
    const QString address = regType == 1 ? "10.3" : "10";
    while (state.KeepRunning()) {
        benchmark::DoNotOptimize(GetRegisterData(&hostText, regType, address, 1, &answer, 4));
    }
}
BENCHMARK(getRegisterData)->ArgName("regType")->Arg(1)->Arg(4)->Arg(7)->Arg(10)->Arg(13);

// A screen's write: commMode 2 queues it (the newest value takes the pending one's place), 0 goes
// to the image alone.
void setRegisterData(benchmark::State &state) {
    const int regType = static_cast<int>(state.range(0));
    benchPort().commMode = static_cast<int>(state.range(1));
    QString hostText;
    QString address = regType == 1 ? "10.3" : "10";
    QByteArray value(8, '\x01');
    while (state.KeepRunning()) {
        benchmark::DoNotOptimize(SetRegisterData(&hostText, regType, &address, 1, &value, 4, 0, 0));
    }
    benchPort().commMode = 2;
}
BENCHMARK(setRegisterData)
    ->ArgNames({"regType", "commMode"})
    ->ArgsProduct({{1, 4, 7, 10, 13}, {0, 2}});

// A new screen set: the fitted order of growth stands under the rows.
void rebuildCyclicList(benchmark::State &state) {
    QList<VARDEF> definitions = benchDefinitions(static_cast<int>(state.range(0)), 10);
    while (state.KeepRunning()) {
        benchmark::DoNotOptimize(ReCreatReadVarList(&definitions));
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(rebuildCyclicList)
    ->ArgName("definitions")
    ->RangeMultiplier(10)
    ->Range(100, 100000)
    ->Unit(benchmark::kMillisecond)
    ->Complexity();

// A turn that passes over the entries of a station that is off, to the one that can be read.
void turnPastDisabledStation(benchmark::State &state) {
    PLC_driver.readList.clear();
    RW_VAR entry;
    entry.regType = 7;
    entry.count = 1;
    for (entry.address = 0; entry.address < state.range(0); ++entry.address) {
        entry.station = entry.address == 0 ? 1 : 2;
        AddListReadVar(&entry);
    }
    EnCommStation(2, 0);
    while (state.KeepRunning()) {
        benchmark::DoNotOptimize(ComCommunication());
        while (DataCom(nullptr, 0)->result == 0) { // given up, it goes to the end of the list
        }
    }
    EnCommStation(2, 1);
    state.SetComplexityN(state.range(0));
}
BENCHMARK(turnPastDisabledStation)
    ->ArgName("entries")
    ->RangeMultiplier(8)
    ->Range(64, 32768)
    ->Unit(benchmark::kMicrosecond)
    ->Complexity();

// The longest frame of a serial line.
void checksumOfFrame(benchmark::State &state) {
    QByteArray frame(256, '\x5A');
    auto *bytes = reinterpret_cast<unsigned char *>(frame.data());
    while (state.KeepRunning()) {
        benchmark::DoNotOptimize(CalCRC(bytes, 256));
    }
    state.SetBytesProcessed(state.iterations() * frame.size());
}
BENCHMARK(checksumOfFrame);

} // namespace

int main(int argc, char **argv) {
    SetComInfo(&benchPort());
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
