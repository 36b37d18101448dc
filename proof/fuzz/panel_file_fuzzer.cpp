// Any text as a panel file: read whole, or refused with one line that says why.
#include "fuzzed_host.h"
#include "panel/panel_file.h"

namespace {

void checkPanel(const PanelFile &panel) {
    require(panel.blockLimit >= 1 && panel.blockLimit <= 125, "the block limit is in its range");
    require(!panel.variables.empty(), "a panel has a variable");
    for (const Variable &variable : panel.variables) {
        const RegisterSpan span = variable.span();
        require(variable.regType >= 0 && variable.regType <= 14, "the register type is known");
        require(span.first >= 0 && span.count >= 1 && span.first + span.count <= 65536,
                "the variable lies within its area");
    }
    for (const WriteJob &job : panel.writes) {
        require(job.variable < panel.variables.size(), "a write names a variable of the panel");
        const Variable &variable = panel.variables[job.variable];
        require(job.data.size() == variable.count * variable.width().hostBytes,
                "a write has the data of its variable");
    }
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
    QString error;
    const auto panel = parsePanel(text, &error);
    require(panel.has_value() == error.isEmpty(), "a panel, or a reason");
    require(!error.contains('\n'), "the reason is one line");
    if (panel)
        checkPanel(*panel);
    return 0;
}
