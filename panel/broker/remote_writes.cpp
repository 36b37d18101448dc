#include "panel/broker/remote_writes.h"

#include "panel/broker/messages.h"

#include <utility>

namespace {

constexpr int MostBytes = 64 * 1024; // of a write

} // namespace

RemoteWrites::RemoteWrites(const PanelFile &panel, Write write, Tell tell, Log log)
    : m_panel(panel), m_write(std::move(write)), m_tell(std::move(tell)), m_log(std::move(log)),
      m_refusals(m_log, "refused writes from the broker"),
      m_prefix(panel.broker->prefix.toUtf8() + "/set/") {
    for (std::size_t variable = 0; variable < panel.variables.size(); ++variable)
        m_variables.insert(variableTopic(panel, variable), variable);
}

QByteArray RemoteWrites::topics() const {
    return m_prefix + "+/+";
}

void RemoteWrites::take(const MqttMessage &message) {
    const QByteArray name = message.topic.mid(m_prefix.size());
    WriteOrder order;
    order.variable = m_panel.variables.size();
    order.origin = "broker";
    const QString refusal = check(message, name, &order);
    if (!refusal.isEmpty()) {
        if (order.variable < m_panel.variables.size())
            m_refusals.add(writeText(m_panel, order, {refusal, true, {}, {}}));
        m_tell(name, refusalPayload(refusal, std::chrono::system_clock::now()));
        return;
    }
    m_write(order,
            [tell = m_tell, log = m_log, name, order, &panel = m_panel](const WriteResult &result) {
                if (log)
                    log(writeText(panel, order, result));
                tell(name, resultPayload(panel.variables.at(order.variable), result,
                                         std::chrono::system_clock::now()));
            });
}

QString RemoteWrites::check(const MqttMessage &message, const QByteArray &name,
                            WriteOrder *order) const {
    const auto found = m_variables.constFind(name);
    if (found == m_variables.constEnd())
        return "no such variable";
    order->variable = found.value();
    if (message.isRetained)
        return "a retained message is no order: it may be old";
    if (message.payload.size() > MostBytes)
        return QString("longer than %1 bytes").arg(MostBytes);
    const Variable &variable = m_panel.variables.at(order->variable);
    if (!variable.writable)
        return "not writable";
    return readWrite(variable, message.payload, &order->data);
}
