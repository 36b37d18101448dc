// The options of a command. CLI11 stands behind them in one file alone: whatever includes its
// header takes longer to compile than all else in a command.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

// An option that was added; each call says more about it.
class CommandOption {
public:
    explicit CommandOption(CLI::Option *option) : m_option(option) {}

    CommandOption &required();
    // What --help shows in the place of the value.
    CommandOption &shownAs(const char *value);
    CommandOption &between(int low, int high);
    CommandOption &between(double low, double high);
    CommandOption &oneOf(const std::vector<std::string> &values);
    // One text with commas is a list.
    CommandOption &partedByCommas();
    // Not together with that one.
    CommandOption &excludes(const CommandOption &other);
    // Only together with that one.
    CommandOption &needs(const CommandOption &other);

private:
    CLI::Option *m_option;
};

// A handle: copies add to the same command.
class CommandOptions {
public:
    CommandOptions(CLI::App *command) : m_command(command) {}
    // A new command of the program.
    CommandOptions(CLI::App &program, const char *name, const char *whatItDoes);

    CLI::App *command() const { return m_command; }
    // What --help says behind the options.
    void footer(const std::string &text);

    // Each keeps what was given in the value, which outlives the command's work. "--baud" is an
    // option, "FILE" one that has its place.
    CommandOption add(const char *name, std::string *value, const char *text);
    CommandOption add(const char *name, int *value, const char *text);
    CommandOption add(const char *name, double *value, const char *text);
    CommandOption add(const char *name, std::vector<std::string> *values, const char *text);
    CommandOption add(const char *name, std::vector<int> *values, const char *text);
    CommandOption addFlag(const char *name, bool *isGiven, const char *text);

private:
    CLI::App *m_command;
};
