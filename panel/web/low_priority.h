// The page comes after the line: its threads get what processor time the others leave.
#pragma once

#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

// Of the calling thread.
inline void giveWayToTheLine() {
    constexpr int Niceness = 15;
    const auto thread = static_cast<id_t>(syscall(SYS_gettid));
    static_cast<void>(setpriority(PRIO_PROCESS, thread, Niceness)); // for a thread alone, on Linux
}
