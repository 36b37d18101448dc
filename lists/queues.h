// What the two queues have in common.
#pragma once

// Entries a queue holds before it drops what is added to it.
constexpr int QueueCapacity = 1024;
