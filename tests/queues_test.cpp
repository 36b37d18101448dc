// The queue of one-shot reads and the write queue.
#include "driver_fixture.h"

#include <climits>

namespace {

class Queues : public Driver {
protected:
    static int queueWrite(const Piece &write, int mode = 0) {
        RW_VAR var = variable(write);
        return AddListWriteVar(&var, mode);
    }
};

TEST_F(Queues, AOneShotReadIsCutAndLeavesItsLastPieceInTheRecord) {
    struct Row {
        const char *why;
        int blockLimit;
        Piece read;
        Pieces queued;
        Piece left;
    };
    const Row rows[] = {
        {"a rest", 100, {1, 7, 200, 101}, {{1, 7, 200, 100}, {1, 7, 300, 1}}, {1, 7, 300, 1}},
        {"no rest", 1, {1, 7, 200, 2}, {{1, 7, 200, 1}, {1, 7, 201, 1}}, {1, 7, 201, 1}},
        {"a 64-bit value", 100, {1, 14, 2, 1}, {{1, 8, 8, 4}}, {1, 8, 8, 4}},
        {"nothing to read", 100, {1, 7, 5, 0}, {}, {1, 7, 5, 0}},
        {"less than nothing", 100, {1, 7, 5, -100}, {}, {1, 7, 5, -100}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.why);
        restart();
        info.blockLimit = row.blockLimit;
        RW_VAR var = variable(row.read);
        var.saveMode = var.spare = 8;
        EXPECT_EQ(AddListOnceReadVar(&var, 0), static_cast<int>(row.queued.size()));
        EXPECT_EQ(piecesOf(PLC_driver.onceReadList), row.queued);
        EXPECT_EQ(pieceOf(var), row.left);
        EXPECT_EQ(var.saveMode + var.spare, 0);
    }
}

TEST_F(Queues, AOneShotReadIsRefusedWithoutAnAddressAStationOrABlockLimit) {
    queueRead(7, "1", 1);
    EXPECT_EQ(queueRead(7, "x", 1), 0);
    EXPECT_EQ(queueRead(7, "5", 1, 0), 0);
    info.blockLimit = 0;
    EXPECT_EQ(queueRead(7, "5", 1), 0);
    EXPECT_EQ(PLC_driver.onceReadList.size(), 1);
}

TEST_F(Queues, TheDefaultStationReplacesThatOfAOneShotRead) {
    info.useVarStation = 0;
    EXPECT_EQ(queueRead(1, "3.4", 1, 0), 1);
    EXPECT_EQ(piecesOf(PLC_driver.onceReadList), (Pieces{{9, 7, 1, 1}}));
}

TEST_F(Queues, AOneShotReadIsQueuedOnceForOneHostRequest) {
    EXPECT_EQ(queueRead(7, "5", 1), 1);
    EXPECT_EQ(queueRead(7, "5", 1, 1, 7, 4), 2); // another owner
    EXPECT_EQ(queueRead(7, "5", 1, 1, 8), 3);    // another item
    EXPECT_EQ(queueRead(7, "5", 1, 2), 4);       // another station
    EXPECT_EQ(queueRead(8, "5", 1), 5);          // another area
    EXPECT_EQ(queueRead(7, "6", 1), 6);          // another address
    EXPECT_EQ(queueRead(7, "5", 2), 7);          // another count
    EXPECT_EQ(queueRead(7, "5", 1), 7);
    EXPECT_EQ(queueRead(7, "5", 2), 7);
}

TEST_F(Queues, AWriteReplacesTheWaitingOneOfItsPlaceButNotTheOneInFlight) {
    EXPECT_EQ(queueWrite({1, 7, 5, 1, "11 11"}), 1);
    EXPECT_EQ(queueWrite({1, 7, 5, 1, "22 22"}), 2);
    EXPECT_EQ(queueWrite({1, 7, 6, 1, "33 33"}), 3);         // another address
    EXPECT_EQ(queueWrite({2, 7, 5, 1, "44 44"}), 4);         // another station
    EXPECT_EQ(queueWrite({1, 8, 5, 1, "55 55"}), 5);         // another type
    EXPECT_EQ(queueWrite({1, 7, 5, 2, "66 66 66 66"}), 6);   // another count
    EXPECT_EQ(write(7, "5", 1, bytes("77 77"), 1, 8, 4), 6); // of another owner and item
    const Pieces start{{1, 7, 5, 1, "11 11"}, {1, 7, 5, 1, "77 77"}, {1, 7, 6, 1, "33 33"}};
    EXPECT_EQ(piecesOf(PLC_driver.writeList.mid(0, 3)), start);
}

TEST_F(Queues, ARecordKeepsEveryFieldInTheQueuesAndAtItsOwner) {
    for (const int mode : {0, 0, 0, 1}) { // appended twice, replaced, appended as it is
        RW_VAR record = filledRecord();
        record.itemId = PLC_driver.writeList.size() * 10;
        const RW_VAR before = record;
        AddListWriteVar(&record, mode);
        EXPECT_EQ(fieldsOf(record), fieldsOf(before));
        EXPECT_EQ(fieldsOf(PLC_driver.writeList.last()), fieldsOf(before));
    }
    RW_VAR record = filledRecord();
    AddListOnceReadVar(&record, 1);
    AddListReadVar(&record);
    EXPECT_EQ(fieldsOf(record), fieldsOf(filledRecord()));
    EXPECT_EQ(fieldsOf(PLC_driver.onceReadList.last()), fieldsOf(filledRecord()));
    EXPECT_EQ(fieldsOf(PLC_driver.readList.last()), fieldsOf(filledRecord()));
}

TEST_F(Queues, HoldAThousandAndTwentyFourButForWhatTheHostAppends) {
    info.blockLimit = 1;
    EXPECT_EQ(queueRead(7, "0", 1023), 1023);
    EXPECT_EQ(queueRead(7, "5000", 2), 1024);
    EXPECT_EQ(PLC_driver.onceReadList.last().address, 5000);
    EXPECT_EQ(write(7, "0", 1023, {}), 1023);
    EXPECT_EQ(write(7, "5000", 2, {}), 1024);
    EXPECT_EQ(PLC_driver.writeList.last().address, 5000);
    RW_VAR appended = variable({1, 7, 5000, 1});
    EXPECT_EQ(AddListWriteVar(&appended, 1), 1025);
    EXPECT_EQ(AddListOnceReadVar(&appended, 1), 1025);
}

TEST_F(Queues, AHugeOneShotReadFillsTheQueueAndEnds) {
    info.blockLimit = 1;
    RW_VAR read = variable({1, 7, 0, INT_MAX});
    EXPECT_EQ(AddListOnceReadVar(&read, 0), 1024);
    EXPECT_EQ(pieceOf(read), (Piece{1, 7, INT_MAX - 1, 1}));
}

} // namespace
