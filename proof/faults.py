"""The faults that proof/planted_faults plants in the driver: what is wrong, where, and the texts to
replace. Each lock of the library is found and taken out besides. Those of SAMPLE are what CI tries.
"""

SAMPLE = (
    "no listMutex in driver/replies.cpp, no. 1",
    "no storageMutex in image/store.cpp, no. 1",
    "imageMutex after storageMutex in host reads",
    "CRC not checked",
    "rejected reply stored",
    "head of the write queue replaced",
    "one retry too many",
    "a rejected read half lets its write go out",
    "the cyclic list emptied before the lock",
    "the scheduler locks for writes alone",
)

# (name, file, text, text in its place), text and replacement again where a fault needs two places
FAULTS = [
    # Lock orders.
    ("imageMutex after storageMutex in host reads", "image/host_read.cpp",
     "const QMutexLocker image(&PLC_driver.imageMutex); ",
     "const QMutexLocker storage(&PLC_driver.storageMutex); ",
     "const QMutexLocker storage(&PLC_driver.storageMutex); // D",
     "const QMutexLocker image(&PLC_driver.imageMutex); // D"),
    ("listMutex after stationMutex in the station table", "driver/stations.cpp",
     "const QMutexLocker stations(&PLC_driver.stationMutex); // disabledStations\n    if",
     "const QMutexLocker stations(&PLC_driver.stationMutex);\n"
     "    const QMutexLocker lists(&PLC_driver.listMutex);\n    if"),

    # Judging and storing replies.
    ("CRC not checked", "modbus/read_request.cpp", " || !hasGoodCrc(*reply)", ""),
    ("station not compared", "modbus/read_request.cpp",
     "byteAt(*reply, 0) != asked.station || ", ""),
    ("length not compared", "driver/judging.cpp",
     "return request.replyLength != length && request.replyLength != AnyLength;",
     "return request.replyLength > length && request.replyLength != AnyLength;"),
    ("rejected reply stored", "driver/judging.cpp", "    default:\n",
     "    default:\n        storeLocal(reply);\n"),
    ("reply stored high byte first", "modbus/reply_store.cpp",
     "image[i + 1] = data.at(i);", "std::swap(image[i], image[i + 1]), image[i] = data.at(i);"),
    ("reply stored one register on", "modbus/reply_store.cpp",
     "qint64{span.address} * 2", "qint64{span.address} * 2 + 2"),

    # Frames.
    ("patched frame not sealed again", "modbus/write_request.cpp",
     "    setByte(frame, FrameCrc, crc & 0xFF);\n", ""),
    ("bit write forgets the register's other bits", "modbus/write_request.cpp",
     "read | mask : read & ~mask", "mask : 0"),
    ("byte write swaps the halves", "modbus/write_request.cpp",
     "written.address % 2 == 0", "written.address % 2 != 0"),
    ("area 8 without its offset", "driver/records.cpp", "? Area8WireOffset : 0", "? 0 : 0"),
    ("remote frame without its checksum", "remote/remote_frames.cpp", "    appendSum(frame);\n",
     "    frame.append('\\0');\n"),

    # Lists and queues.
    ("head of the write queue replaced", "lists/queues.cpp", "queue.begin() + 1, queue.end()",
     "queue.begin(), queue.end()"),
    ("pending write not replaced", "lists/queues.cpp", "*pending = *var;", ""),
    ("write queue without a bound", "lists/queues.cpp", "} else if (!isFull(queue)) {",
     "} else {"),
    ("one-shot read queued twice", "lists/queues.cpp",
     "if (std::none_of(queue.cbegin(), queue.cend(), isEqual)) {", "{"),
    ("block one register too long", "lists/cyclic_list.cpp", "block.count = limit;",
     "block.count = limit + 1;"),
    ("merged span left out", "lists/cyclic_list.cpp",
     "} else if (endOf(span) > endOf(requests.constLast())) {", "} else if (false) {"),
    ("every piece of a write takes the first data", "lists/host_write.cpp",
     "(first + i) * cut.itemBytes", "i * cut.itemBytes"),
    ("image not grown before a bit write", "image/store.cpp",
     "    growTo(bytes, offset + size);\n",
     "    if (offset + size > bytes.size()) {\n        return nullptr;\n    }\n"),

    # The end of an exchange, and what goes out next.
    ("cyclic head not moved to the end", "driver/replies.cpp",
     "list.move(0, list.size() - 1);\n}", "}"),
    ("one retry too many", "driver/replies.cpp", "info.retryCount <= info.retryLimit",
     "info.retryCount <= info.retryLimit + 1"),
    ("write half sent after a give-up", "driver/replies.cpp", "PLC_driver.requestList.clear();",
     "PLC_driver.requestList.removeFirst();"),
    ("duplicates kept on a give-up", "driver/replies.cpp", "queue.removeAt(i);", "++i;"),
    ("failure reported as success", "driver/replies.cpp",
     "PLC_driver.commFailed ? StatusGivenUp : StatusDone", "StatusDone"),
    ("pass not restarted by a give-up", "driver/replies.cpp", "    info.scanDone = 0;\n", ""),
    ("commFailed never cleared", "driver/replies.cpp", "    PLC_driver.commFailed = false;\n", ""),
    ("six writes in a row", "driver/scheduling.cpp", "BurstLimit = 4", "BurstLimit = 5"),
    ("bursts not cleared by a cyclic read", "driver/scheduling.cpp",
     "PLC_driver.listKind = CyclicList;\n    PLC_driver.writeBurst = 0;",
     "PLC_driver.listKind = CyclicList;"),
    ("disabled station still written", "driver/scheduling.cpp",
     "bool canBeWritten(const RW_VAR &var) {\n    return !Ethernetcontains(var.station);",
     "bool canBeWritten(const RW_VAR &var) {\n    return var.station >= 0;"),

    # What only a faulty line shows.
    ("half of the CRC checked", "modbus/read_request.cpp",
     "return crcOf(reply, body) == byteAt(reply, body) + 256 * byteAt(reply, body + 1);",
     "return crcOf(reply, body) % 256 == byteAt(reply, body);"),
    ("stations told apart by seven bits", "modbus/read_request.cpp",
     "byteAt(*reply, 0) != asked.station", "byteAt(*reply, 0) % 128 != asked.station % 128"),
    ("failures go on counting after a give-up", "driver/replies.cpp",
     "    info.scanDone = 0;\n    info.retryCount = 0;\n", "    info.scanDone = 0;\n"),
    ("a failed frame counts as one answered", "driver/replies.cpp",
     "    if (info.retryCount <= info.retryLimit) {\n",
     "    ++info.frameIndex;\n    if (info.retryCount <= info.retryLimit) {\n"),
    ("a rejected read half lets its write go out", "driver/replies.cpp",
     "    if (info.retryCount <= info.retryLimit) {\n",
     "    if (info.retryCount <= info.retryLimit) {\n"
     "        if (PLC_driver.requestList.size() > 1) {\n"
     "            PLC_driver.requestList.removeFirst();\n        }\n"),
    ("a give-up takes all requests of its owner", "driver/replies.cpp",
     "return a.ownerId == b.ownerId && a.itemId == b.itemId;", "return a.ownerId == b.ownerId;"),
    ("a give-up is not reported while pieces wait", "driver/replies.cpp",
     "(later && !PLC_driver.commFailed)", "later"),

    # What only threads show.
    ("a one-shot read queued piece by piece", "lists/queues.cpp",
     "for (int k = 0; k < pieces && !isFull(PLC_driver.onceReadList); ++k) {\n",
     "for (int k = 0; k < pieces; ++k) {\n"
     "        const QMutexLocker lists(&PLC_driver.listMutex);\n"
     "        if (isFull(PLC_driver.onceReadList)) {\n            break;\n        }\n",
     "    const QMutexLocker lists(&PLC_driver.listMutex); // onceReadList: the pieces",
     "    queuePieces(*var, limit);\n"
     "    const QMutexLocker lists(&PLC_driver.listMutex); // onceReadList: the pieces",
     "stay together\n    queuePieces(*var, limit);\n", "stay together\n"),
    ("a pending write found under one lock and replaced under the next", "lists/queues.cpp",
     "    const QMutexLocker lists(&PLC_driver.listMutex); // writeList,",
     "    QMutexLocker lists(&PLC_driver.listMutex); // writeList,",
     "    if (pending != queue.end()) {\n        *pending = *var;\n",
     "    const auto at = static_cast<int>(pending - queue.begin());\n"
     "    const bool found = pending != queue.end();\n"
     "    lists.unlock();\n    lists.relock();\n"
     "    if (found && at < queue.size()) {\n        queue[at] = *var;\n"),
    ("a station switched in a copy of the table", "driver/stations.cpp",
     "    const QMutexLocker stations(&PLC_driver.stationMutex); // disabledStations\n"
     "    if (station < 0) {\n        PLC_driver.disabledStations.clear();\n",
     "    QMutexLocker stations(&PLC_driver.stationMutex);\n"
     "    QMap<int, int> table = PLC_driver.disabledStations;\n"
     "    table.detach();\n    stations.unlock();\n"
     "    if (station < 0) {\n        table.clear();\n",
     "        PLC_driver.disabledStations.insert(station, 0);\n",
     "        table.insert(station, 0);\n",
     "        PLC_driver.disabledStations.remove(station);\n    }\n",
     "        table.remove(station);\n    }\n"
     "    stations.relock();\n    PLC_driver.disabledStations.swap(table);\n"),
    ("a host read in two halves", "image/host_read.cpp",
     "#include <algorithm>\n", "#include <QThread>\n#include <algorithm>\n",
     "    const QMutexLocker image(&PLC_driver.imageMutex);     // a",
     "    QMutexLocker image(&PLC_driver.imageMutex);     // a",
     "    const QMutexLocker storage(&PLC_driver.storageMutex); // DataStorage itself\n",
     "    QMutexLocker storage(&PLC_driver.storageMutex);\n"
     "    QByteArray half;\n"
     "    answerFrom(DataStorage[owner][getPlcReg(regType)], request, half);\n"
     "    storage.unlock();\n    image.unlock();\n    QThread::usleep(20);\n"
     "    image.relock();\n    storage.relock();\n",
     "request, *answer);\n", "request, *answer);\n"
     "    answer->replace(0, half.size() / 2, half.left(half.size() / 2));\n"),
    ("the cyclic list emptied before the lock", "lists/cyclic_list.cpp",
     "    // readList and the pass: the loop sees the old list or the new one.\n",
     "    PLC_driver.readList.clear();\n"),
    ("reports made behind the lock", "driver/replies.cpp",
     "    const QMutexLocker lists(&PLC_driver.listMutex); // lists, counters",
     "    QMutexLocker lists(&PLC_driver.listMutex); // lists, counters",
     "    if (step == Step::GivenUp) {\n        reportGiveUp();\n",
     "    if (step == Step::GivenUp) {\n        lists.unlock();\n        reportGiveUp();\n"
     "        lists.relock();\n"),
    ("the scheduler locks for writes alone", "driver/scheduling.cpp",
     "    const QMutexLocker lists(&PLC_driver.listMutex); // the three lists",
     "    QMutexLocker lists(&PLC_driver.listMutex); // the three lists",
     "    if (!sendWrite() && !sendOnceRead() && !sendCyclicRead()) {\n",
     "    const bool write = sendWrite();\n    lists.unlock();\n"
     "    if (!write && !sendOnceRead() && !sendCyclicRead()) {\n"),
    ("an area measured before the lock", "image/store.cpp",
     "    const QMutexLocker storage(&PLC_driver.storageMutex); // DataStorage, from",
     "    if (DataStorage[request.station][area].size() >= requiredBytes(request)) {\n"
     "        return;\n    }\n"
     "    const QMutexLocker storage(&PLC_driver.storageMutex); // DataStorage, from"),
]
