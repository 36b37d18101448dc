#include "panel/web/curves.h"

#include "panel/file/values.h"

#include <QJsonArray>

#include <algorithm>

Curves::Curves(const PanelFile &panel, qint64 now)
    : m_panel(panel), m_step(now / StepSeconds),
      m_points(panel.variables.size(), std::vector<std::optional<double>>(Points)) {}

void Curves::note(const std::vector<ValueChange> &values, qint64 now) {
    const qint64 step = now / StepSeconds;
    m_step = std::max(m_step, step - Points);
    while (m_step < step) {
        ++m_step;
        for (std::size_t i = 0; i < m_points.size(); ++i) {
            const ValueChange &value = values[i];
            auto &point = m_points[i][static_cast<std::size_t>(m_step % Points)];
            point.reset();
            if (value.quality == Quality::Good)
                point = valueNumber(m_panel.variables[i], value.data);
        }
    }
}

QJsonObject Curves::toJson() const {
    QJsonObject curves;
    for (std::size_t i = 0; i < m_points.size(); ++i) {
        QJsonArray points;
        for (qint64 step = m_step + 1; step <= m_step + Points; ++step) {
            const auto &point = m_points[i][static_cast<std::size_t>(step % Points)];
            points += point ? QJsonValue(*point) : QJsonValue();
        }
        curves[m_panel.variables[i].name] = points;
    }
    return {{"stepSeconds", StepSeconds}, {"curves", curves}};
}
