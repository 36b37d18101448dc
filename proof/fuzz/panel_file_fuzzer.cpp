// Any text as a panel file: read whole, or refused with lines that say why.
#include "fuzzed_host.h"
#include "panel/file/address.h"
#include "panel/file/panel_file.h"
#include "panel/file/values.h"

namespace {

void checkPanel(const PanelFile &panel) {
    require(!panel.lines.empty(), "a panel has a line");
    for (const LineSettings &line : panel.lines) {
        require(line.blockLimit >= 1 && line.blockLimit <= 125, "the block limit is in its range");
        require(line.responseTimeoutMs > 0 && line.byteTimeoutMs > 0 && line.silenceUs > 0,
                "times are filled in");
    }
    require(!panel.variables.empty(), "a panel has a variable");
    for (const Variable &variable : panel.variables) {
        const RegisterSpan span = variable.span();
        require(variable.line < panel.lines.size(), "a variable is on a line of the panel");
        require(variable.regType >= 0 && variable.regType <= 14, "the register type is known");
        require(span.first >= 0 && span.count >= 1 && span.first + span.count <= 65536,
                "the variable lies within its area");
    }
    for (const WriteJob &job : panel.writes) {
        require(job.variable < panel.variables.size(), "a write names a variable of the panel");
        const Variable &variable = panel.variables[job.variable];
        require(job.data.size() == variable.hostBytes(), "a write has the data of its variable");
    }
}

// What is shown can be typed again, whatever the bytes are. Scaling and decimals may lose digits,
// so that a limit or a range is passed; then there is a reason.
void checkValues(const Variable &variable, const QByteArray &text) {
    const QByteArray data = text.left(variable.hostBytes());
    const QString shown = valueText(variable, data);
    valueJson(variable, data);
    QByteArray encoded;
    const QString reason = encodeTyped(variable, shown, &encoded);
    require(encoded.size() == (reason.isEmpty() ? variable.hostBytes() : 0),
            "a value that is taken has the data of its variable, a refused one has none");
    const bool isPlain = variable.isNumber() && variable.display != Display::Float &&
                         !variable.isScaled() && !variable.min && !variable.max;
    require(!isPlain || (reason.isEmpty() && valueText(variable, encoded) == shown),
            "a whole number comes back as it was");
}

} // namespace

// QJsonDocument of Qt 5.15 leaks the containers of a key that is given twice, and its frames cannot
// be told from ours, so this target looks for no leaks; the tests of the panel do.
// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
extern "C" const char *__asan_default_options() {
    return "detect_leaks=0";
}

// NOLINTNEXTLINE(readability-identifier-naming)
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const QByteArray text(reinterpret_cast<const char *>(data), static_cast<int>(size));
    QStringList errors;
    const auto panel = parsePanel(text, &errors);
    require(panel.has_value() == errors.isEmpty(), "a panel, or a reason");
    require(errors.size() <= 51 && !errors.join(QString()).contains('\n'),
            "the reasons are so many lines at most");
    QString error;
    if (const auto variable = parseAddress(QString::fromUtf8(text), 1, &error))
        checkValues(*variable, text);
    if (panel) {
        checkPanel(*panel);
        for (const Variable &variable : panel->variables)
            checkValues(variable, text);
    }
    return 0;
}
