#include "panel/command/options.h"

#include <CLI/CLI.hpp>

CommandOption &CommandOption::required() {
    m_option->required();
    return *this;
}

CommandOption &CommandOption::shownAs(const char *value) {
    m_option->type_name(value);
    return *this;
}

CommandOption &CommandOption::between(int low, int high) {
    m_option->check(CLI::Range(low, high));
    return *this;
}

CommandOption &CommandOption::between(double low, double high) {
    m_option->check(CLI::Range(low, high));
    return *this;
}

CommandOption &CommandOption::oneOf(const std::vector<std::string> &values) {
    m_option->check(CLI::IsMember(values));
    return *this;
}

CommandOption &CommandOption::partedByCommas() {
    // Or it would take the device behind it for one more of the list.
    m_option->delimiter(',')->allow_extra_args(false);
    return *this;
}

CommandOption &CommandOption::excludes(const CommandOption &other) {
    m_option->excludes(other.m_option);
    return *this;
}

CommandOption &CommandOption::needs(const CommandOption &other) {
    m_option->needs(other.m_option);
    return *this;
}

CommandOptions::CommandOptions(CLI::App &program, const char *name, const char *whatItDoes)
    : m_command(program.add_subcommand(name, whatItDoes)) {}

void CommandOptions::footer(const std::string &text) {
    m_command->footer(text);
}

CommandOption CommandOptions::add(const char *name, std::string *value, const char *text) {
    return CommandOption(m_command->add_option(name, *value, text));
}

CommandOption CommandOptions::add(const char *name, int *value, const char *text) {
    return CommandOption(m_command->add_option(name, *value, text));
}

CommandOption CommandOptions::add(const char *name, double *value, const char *text) {
    return CommandOption(m_command->add_option(name, *value, text));
}

CommandOption CommandOptions::add(const char *name, std::vector<std::string> *values,
                                  const char *text) {
    return CommandOption(m_command->add_option(name, *values, text));
}

CommandOption CommandOptions::add(const char *name, std::vector<int> *values, const char *text) {
    return CommandOption(m_command->add_option(name, *values, text));
}

CommandOption CommandOptions::addFlag(const char *name, bool *isGiven, const char *text) {
    return CommandOption(m_command->add_flag(name, *isGiven, text));
}
