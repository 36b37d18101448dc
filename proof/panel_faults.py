"""The faults that proof/planted_faults --panel plants in the panel and the simulated PLC: what is
wrong, the test programs that must report it, where, and the texts to replace.
"""

# (name, tests, file, text, text in its place), text and replacement again for a second place
PANEL_FAULTS = [
    # The line.
    ("a station that is back stays off in the driver", "comm_loop_test", "panel/line/comm_loop.cpp",
     "        m_parts.driver.EnCommStation(station, On);\n", ""),
    ("a station whose device is back stays off in the driver", "comm_loop_test",
     "panel/line/comm_loop.cpp", "    m_parts.driver.EnCommStation(AllStations, On);\n", ""),
    ("any failure rests a station", "station_care_test", "panel/line/station_care.cpp",
     "station->badInARow = station->isSilent ? BadInARowToRest : station->badInARow + 1;",
     "station->badInARow = BadInARowToRest;"),
    ("a refusal is tried again at once", "comm_loop_test", "panel/line/comm_loop.cpp",
     " && !isFinalRefusal(exchange) &&", " &&"),
    ("a damaged answer is not waited out though another is owed", "line_test",
     "panel/line/owed_answers.cpp", " && !isAnyOwed(requestEnd)", ""),
    ("the fastest plan keeps variables whole", "plan_test", "panel/line/plan.cpp",
     "(variable.display == Display::Text && all <= blockLimit)", "all <= blockLimit"),
    ("two lines take one device", "end_to_end_test", "panel/command/runtime.cpp",
     "    if (!shared.isEmpty())\n        return shared;\n", ""),

    # The port.
    ("no silence between frames", "serial_port_test", "panel/line/serial_port.cpp",
     "return silentInterval(m_settings) + ", "return "),
    ("a tenth of the silence between frames", "serial_port_test", "panel/line/serial_port.cpp",
     "return silentInterval(m_settings) + ", "return silentInterval(m_settings) / 10 + "),
    ("no broadcast delay", "serial_port_test", "panel/line/serial_port.cpp",
     "hear(requestEnd + std::chrono::milliseconds(m_settings.broadcastDelayMs))",
     "hear(requestEnd)"),
    ("parity not set", "serial_port_test", "panel/line/serial_port.cpp",
     "    port->setParity(portParity(settings.parity));\n", ""),
    ("stop bits not set", "serial_port_test", "panel/line/serial_port.cpp",
     "settings.stopBits == 2 ? QSerialPort::TwoStop",
     "settings.stopBits == 3 ? QSerialPort::TwoStop"),
    ("a failed send left in the port", "serial_port_test", "panel/line/serial_port.cpp",
     "    ::tcflush(m_device, TCOFLUSH);", "   "),

    # A run.
    ("--seconds ignored", "end_to_end_test", "panel/command/run.cpp",
     "options.seconds > 0 ? Clock::now()", "options.seconds < 0 ? Clock::now()"),
    ("signals unhandled", "end_to_end_test", "panel/command/stop_request.cpp",
     "std::signal(number, stop)", "std::signal(number, SIG_DFL)"),
    ("no mark on old values", "end_to_end_test", "panel/screen/plain_lines.cpp",
     "== Quality::Old ? \"? \" : \"\"", "== Quality::Old ? \"\" : \"\""),
    ("a run ends before the last write is polled", "end_to_end_test", "panel/command/runtime.cpp",
     " || passes[line] < m_passesAtJobsEnd[line] + 2", ""),

    # The simulated PLC.
    ("overlong requests are served", "plcsim_test", "plcsim/request_cutter.cpp",
     "length <= bytes.size() && length <= MaxFrame &&", "length <= bytes.size() &&",
     "length > bytes.size() && length <= MaxFrame)", "length > bytes.size())"),
    ("a foreign link is removed in the end", "plcsim_test", "plcsim/pseudo_terminal.cpp",
     "!m_link.isEmpty() && linkTarget(m_link) == m_devicePath", "!m_link.isEmpty()"),
    ("a foreign link is replaced", "plcsim_test", "plcsim/pseudo_terminal.cpp",
     "!target.isEmpty() && (!QFile::exists(target) || target == m_devicePath)",
     "!target.isEmpty()"),
    ("a real port answers without the silence", "plcsim_test", "plcsim/line_timing.cpp",
     "    if (baud == 0)\n", "    if (baud == 0 || isReal)\n"),
    ("a begun request is dropped between slow characters", "plcsim_test", "plcsim/serial_bus.cpp",
     " + m_timing.characters(PortBuffer)", ""),
    ("a port that is gone is read for ever", "plcsim_test", "plcsim/port.cpp",
     "count <= 0 && !isEmpty && !isTerminal()", "false"),
    ("every run has the same seed", "plcsim_test", "plcsim/serial_bus.cpp",
     "m_dice(options.seed)", "m_dice(1)"),
]
