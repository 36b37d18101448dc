#include "panel/health/capture_file.h"

namespace {

const char *const Reason = "captures: this program was built without libpcap";

} // namespace

struct CaptureWriter::File {};

CaptureWriter::CaptureWriter() = default;
CaptureWriter::~CaptureWriter() = default;

QString CaptureWriter::open(const QString &) {
    return Reason;
}

QString CaptureWriter::write(const CapturedPacket &) {
    return Reason;
}

QString CaptureWriter::flush() {
    return Reason;
}

void CaptureWriter::hurry() {}

QString readCapture(const QString &, const std::function<void(const CapturedPacket &)> &, bool *) {
    return Reason;
}
