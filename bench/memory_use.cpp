// What a large project takes in memory: 1 000 cyclic variables over 10 stations, read once around.
//
// Two parts: the pages of the library itself, from its program headers (as if all of them were
// resident), and the growth of this process's heap, from malloc. Both mean the same natively and
// under emulation, where the process's own resident size is the emulator's.
#include "bench/bench_line.h"

#include <link.h>
#include <malloc.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

namespace {

constexpr int Variables = 1000;
constexpr int Stations = 10;

// Sums up the loaded pages of the library into *data.
int addLibraryPages(dl_phdr_info *info, size_t, void *data) {
    if (std::strstr(info->dlpi_name, "libmodbus_rtu_driver") == nullptr) {
        return 0;
    }
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    for (int i = 0; i < info->dlpi_phnum; ++i) {
        const auto &segment = info->dlpi_phdr[i];
        if (segment.p_type == PT_LOAD) {
            const size_t first = segment.p_vaddr / page;
            const size_t last = (segment.p_vaddr + segment.p_memsz + page - 1) / page;
            *static_cast<size_t *>(data) += (last - first) * page;
        }
    }
    return 1;
}

size_t heapInUse() {
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

// Answers requests until every cyclic variable was read once; false when that does not end well.
bool readAround() {
    for (int turn = 0; benchPort().scanDone == 0; ++turn) {
        Protocol *request = ComCommunication();
        if (request == nullptr || turn > Variables) {
            return false;
        }
        QByteArray reply = benchReply(*request);
        if (DataCom(&reply, reply.size())->result != 1) {
            return false;
        }
    }
    return true;
}

void printKiB(const char *what, size_t bytes) {
    std::printf("%-50s %6zu KiB\n", what, (bytes + 1023) / 1024);
}

} // namespace

int main() {
    size_t library = 0;
    dl_iterate_phdr(addLibraryPages, &library);
    const size_t before = heapInUse();

    SetComInfo(&benchPort());
    int requests = 0;
    {
        QList<VARDEF> definitions = benchDefinitions(Variables, Stations);
        requests = ReCreatReadVarList(&definitions);
    }
    const size_t lists = heapInUse() - before;
    if (library == 0 || requests == 0 || !readAround()) {
        std::puts("memory_use: the pass over the cyclic variables did not end well");
        return 1;
    }
    const size_t heap = heapInUse() - before;

    std::printf("%d cyclic variables, %d stations, %d requests\n", Variables, Stations, requests);
    printKiB("library, every page resident", library);
    printKiB("heap, cyclic list", lists);
    printKiB("heap, register image and the rest after one pass", heap - lists);
    printKiB("resident memory", library + heap);
    return 0;
}
