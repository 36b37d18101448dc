#include "panel/health/capture_file.h"

#include "panel/health/earlier_file.h"
#include "panel/health/output_file.h"

#include <QFile>

#include <pcap/pcap.h>

#include <algorithm>
#include <array>
#include <cstdio>

namespace {

constexpr int LinkType = 147;
constexpr int LongestPacket = 65'535;

struct Closer {
    void operator()(pcap_t *file) const { pcap_close(file); }
    void operator()(pcap_dumper_t *file) const { pcap_dump_close(file); }
};
using Pcap = std::unique_ptr<pcap_t, Closer>;
using Dumper = std::unique_ptr<pcap_dumper_t, Closer>;

bool isCapture(const QByteArray &beginning) {
    constexpr std::array Marks{"\xA1\xB2\xC3\xD4", "\xD4\xC3\xB2\xA1", "\xA1\xB2\x3C\x4D",
                               "\x4D\x3C\xB2\xA1"}; // of either byte order, micro- or nanoseconds
    return std::any_of(Marks.begin(), Marks.end(),
                       [&](const char *mark) { return beginning.startsWith(mark); });
}

timeval timevalOf(std::chrono::system_clock::time_point at) {
    const auto sinceEpoch =
        std::chrono::floor<std::chrono::microseconds>(at.time_since_epoch()).count();
    return {static_cast<time_t>(sinceEpoch / 1'000'000),
            static_cast<suseconds_t>(sinceEpoch % 1'000'000)};
}

std::chrono::system_clock::time_point timeOf(const timeval &time) {
    return std::chrono::system_clock::time_point(std::chrono::seconds(time.tv_sec) +
                                                 std::chrono::microseconds(time.tv_usec));
}

} // namespace

struct CaptureWriter::File {
    OutputFile file;
    QString error; // its first
    Pcap pcap;
    Dumper dumper; // goes before pcap, and pcap before the file

    // What libpcap writes to; the dumper closes it.
    FILE *stream() {
        cookie_io_functions_t functions{};
        functions.write = write;
        return ::fopencookie(this, "w", functions);
    }

private:
    static ssize_t write(void *cookie, const char *bytes, std::size_t size) {
        auto *self = static_cast<File *>(cookie);
        if (self->error.isEmpty())
            self->error = self->file.write(QByteArray(bytes, static_cast<int>(size)));
        return self->error.isEmpty() ? static_cast<ssize_t>(size) : 0;
    }
};

CaptureWriter::CaptureWriter() = default;
CaptureWriter::~CaptureWriter() = default;

QString CaptureWriter::open(const QString &path) {
    if (path == "-")
        return "a capture is a file, not standard output";
    QString wrong = whyNotReplaced(path, "capture", isCapture);
    if (!wrong.isEmpty())
        return wrong;
    auto file = std::make_unique<File>();
    wrong = file->file.open(path);
    if (!wrong.isEmpty())
        return wrong;
    file->pcap.reset(pcap_open_dead(LinkType, LongestPacket));
    file->dumper.reset(pcap_dump_fopen(file->pcap.get(), file->stream()));
    if (!file->dumper)
        return path + ": " + QString::fromLocal8Bit(pcap_geterr(file->pcap.get()));
    m_file = std::move(file);
    return flush();
}

QString CaptureWriter::write(const CapturedPacket &packet) {
    const auto length = static_cast<bpf_u_int32>(std::min(packet.bytes.size(), LongestPacket));
    const pcap_pkthdr header{timevalOf(packet.at), length, length};
    pcap_dump(reinterpret_cast<u_char *>(m_file->dumper.get()), &header,
              reinterpret_cast<const u_char *>(packet.bytes.constData()));
    return {};
}

QString CaptureWriter::flush() {
    const bool isWritten = pcap_dump_flush(m_file->dumper.get()) == 0;
    if (!isWritten && m_file->error.isEmpty())
        return "capture: cannot be written";
    return m_file->error;
}

void CaptureWriter::hurry() {
    if (m_file)
        m_file->file.hurry();
}

QString readCapture(const QString &path, const std::function<void(const CapturedPacket &)> &take,
                    bool *isCut) {
    std::array<char, PCAP_ERRBUF_SIZE> error{};
    const Pcap pcap(pcap_open_offline(QFile::encodeName(path).constData(), error.data()));
    if (!pcap) {
        const QString reason = QString::fromLocal8Bit(error.data()).simplified();
        return reason.contains(path) ? reason : path + ": " + reason;
    }
    if (pcap_datalink(pcap.get()) != LinkType) {
        return QString("%1: a capture of link type %2, not %3")
            .arg(path)
            .arg(pcap_datalink(pcap.get()))
            .arg(LinkType);
    }
    pcap_pkthdr *header = nullptr;
    const u_char *data = nullptr;
    int state = 0;
    while ((state = pcap_next_ex(pcap.get(), &header, &data)) == 1) {
        take({timeOf(header->ts),
              QByteArray(reinterpret_cast<const char *>(data), static_cast<int>(header->caplen))});
    }
    *isCut = state == PCAP_ERROR;
    return {};
}
