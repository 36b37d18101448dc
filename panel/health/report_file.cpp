#include "panel/health/report_file.h"

#include "panel/health/earlier_file.h"

#include <QFileInfo>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QSaveFile>

#include <cerrno>

namespace {

// QJsonDocument sorts the keys.
bool isReport(const QByteArray &beginning) {
    static const QRegularExpression head(R"(^\{\s*"at": "[^"]*",\s*"lines": \[)");
    return head.match(QString::fromUtf8(beginning)).hasMatch();
}

} // namespace

QString ReportFile::open(std::chrono::milliseconds every) {
    // To rename something over a device would replace the device.
    const QFileInfo info(m_path);
    if (info.exists() && !info.isFile())
        return m_path + ": is no file";
    QString error = whyNotReplaced(m_path, "report", isReport);
    if (error.isEmpty())
        error = write();
    if (error.isEmpty())
        m_thread = std::thread([this, every] { run(every); });
    return error;
}

void ReportFile::close() {
    if (!m_thread.joinable())
        return;
    {
        const std::lock_guard lock(m_mutex);
        m_isEnding = true;
    }
    m_wake.notify_one();
    m_thread.join();
}

QString ReportFile::error() const {
    const std::lock_guard lock(m_mutex);
    return m_error;
}

void ReportFile::run(std::chrono::milliseconds every) {
    for (bool isLast = false; !isLast;) {
        {
            std::unique_lock lock(m_mutex);
            isLast = m_wake.wait_for(lock, every, [this] { return m_isEnding; });
        }
        note(write());
    }
}

QString ReportFile::write() const {
    QSaveFile file(m_path);
    const QByteArray json = QJsonDocument(m_make()).toJson();
    if (!file.open(QIODevice::WriteOnly))
        return m_path + ": " + file.errorString();
    // commit() would put what a full disk took in the place of the last report.
    if (file.write(json) != json.size() || !file.flush())
        return m_path + ": " + qt_error_string(errno);
    return file.commit() ? QString() : m_path + ": " + file.errorString();
}

void ReportFile::note(const QString &error) {
    const std::lock_guard lock(m_mutex);
    if (m_error.isEmpty())
        m_error = error;
}
