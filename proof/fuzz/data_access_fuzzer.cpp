// Any arguments to the calls that screens make.
#include "driver/Communication_Protocol.h"
#include "fuzzed_host.h"
#include "image/store.h"
#include "image/write_back.h"
#include "lists/address.h"
#include "modbus/checksums.h"
#include "modbus/write_request.h"
#include "plc_driver.h"
#include "remote/remote_frames.h"

namespace {

constexpr int MostCalls = 24;

// The length that an answer must have for a count of one or more.
qint64 answerLength(int regType, qint64 count) {
    switch (regType < 0 ? 5 : regType / 3) {
    case 0:
        return count;
    case 1:
    case 2:
        return 2 * count;
    case 3:
        return (count + 1) / 2 * 4;
    case 4:
        return (count + 3) / 4 * 8;
    default:
        return 0;
    }
}

void read(FuzzedDataProvider &input) {
    QString text;
    QByteArray answer("old");
    const int regType = drawRegType(input);
    const QString address = drawAddress(input);
    const int count = drawInt(input);
    const int result = GetRegisterData(&text, regType, address, drawInt(input), &answer, count);
    const bool valid = StringAddressToInt(regType, address) >= 0;
    require(result == 0 || valid, "an invalid address is refused");
    if (result == 0) {
        require(answer.isEmpty() || answer.size() == 2 * count, "a refusal answers words");
    } else {
        require(answer.size() == (count > 0 ? answerLength(regType, count) : 0),
                "the answer has its full length");
    }
    require(result == 1 || answer.count('\0') == answer.size(), "a refusal answers zeros");
}

void write(FuzzedDataProvider &input, const ComInfo &info) {
    QString text = QStringLiteral("fuzz");
    QString address = drawAddress(input);
    const int regType = drawRegType(input);
    QByteArray data = drawBytes(input, 64);
    const QByteArray kept = data;
    const int count = drawInt(input);
    const int queued = PLC_driver.writeList.size();
    const int result = SetRegisterData(&text, regType, &address, drawInt(input), &data, count,
                                       drawInt(input), drawInt(input));
    require(data == kept, "the host's data stay as they are");
    require(PLC_driver.writeList.size() <= 1024, "the write queue is bounded");
    require(info.commMode == 2 || result <= 1, "image only: 0 or 1");
    require(result != 0 || PLC_driver.writeList.size() == queued, "a refusal queues nothing");
}

void build(FuzzedDataProvider &input) {
    RW_VAR var = drawVar(input);
    const auto frames = PLC_driver.requestList.size();
    switch (input.ConsumeIntegralInRange(0, 3)) {
    case 0:
        WriteRegister(&var);
        break;
    case 1:
        WriteAnalog(&var);
        break;
    case 2:
        Remote_WriteVar(&var);
        break;
    default:
        Remote_ReadVar(&var);
        break;
    }
    require(PLC_driver.requestList.size() > frames, "a request is built");
    const Protocol &request = PLC_driver.requestList.constLast();
    require(request.frameLength == request.frame.size(), "frameLength is the frame's");
    PLC_driver.requestList.clear();
}

void others(FuzzedDataProvider &input) {
    RW_VAR var = drawVar(input);
    WriteDataToLocal(&var);
    ControlInformationM request{drawInt(input), drawRegType(input), drawInt(input), drawInt(input)};
    checkTheStorage(request);
    require(updateRwVar(&var) == 0, "updateRwVar is always 0");
    getOffsetAddress(drawInt(input));
    require(DigitalToASCII(ASCIIToDigital('A' + input.ConsumeIntegralInRange(0, 5))) >= 'A',
            "digits go there and back");
    DigitalToASCII(drawInt(input));
    ASCIIToDigital(drawInt(input));
    QByteArray bytes = drawBytes(input, 32);
    auto *first = reinterpret_cast<unsigned char *>(bytes.data());
    const auto length = static_cast<unsigned short>(bytes.size());
    require(CalLRC(first, length) >= 1 && CalLRC(first, length) <= 256, "the LRC is 1 to 256");
    require(CalCRC(first, length) <= 0xFFFF && CalSUM(first, length) <= 0xFFFF &&
                CalXOR(first, length) <= 0xFF,
            "checksums keep their width");
}

} // namespace

// NOLINTNEXTLINE(readability-identifier-naming)
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    FuzzedDataProvider input(data, size);
    const ComInfo &info = freshDriver(input);
    for (int i = 0; i < MostCalls && input.remaining_bytes() > 0; ++i) {
        switch (input.ConsumeIntegralInRange(0, 3)) {
        case 0:
            read(input);
            break;
        case 1:
            write(input, info);
            break;
        case 2:
            build(input);
            break;
        default:
            others(input);
            break;
        }
        checkBounds();
    }
    return 0;
}
