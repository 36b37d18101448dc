// A browser's side of HTTP, without a browser: what a person or a machine may send, good and bad.
#pragma once

#include <QByteArray>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

// A connection to 127.0.0.1.
class HttpClient {
public:
    explicit HttpClient(int port) : m_socket(socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        m_isOpen = connect(m_socket, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0;
    }
    ~HttpClient() { close(m_socket); }
    HttpClient(const HttpClient &) = delete;
    HttpClient &operator=(const HttpClient &) = delete;

    bool send(const QByteArray &bytes) {
        const auto size = static_cast<std::size_t>(bytes.size());
        return m_isOpen && ::send(m_socket, bytes.constData(), size, MSG_NOSIGNAL) > 0;
    }

    // Everything until `end` was read, or the server closes.
    QByteArray readTo(const QByteArray &end) {
        while (!m_read.contains(end)) {
            char bytes[4096];
            const ssize_t size = recv(m_socket, bytes, sizeof bytes, 0);
            if (size <= 0)
                break;
            m_read.append(bytes, static_cast<int>(size));
        }
        const int at = m_read.indexOf(end);
        const int length = at < 0 ? m_read.size() : at + end.size();
        QByteArray taken = m_read.left(length);
        m_read.remove(0, length);
        return taken;
    }
    QByteArray readAll() { return readTo(QByteArray("\0never sent", 11)); }

private:
    int m_socket;
    bool m_isOpen = false;
    QByteArray m_read;
};
