// What the commands of the program have in common. Each command is one file,
// panel/command/NAME.cpp, with one function that the table in main.cpp names.
#pragma once

#include "panel/command/options.h"

#include <QString>

#include <functional>
#include <string>

// The exit status, whatever the command.
enum ExitCode {
    AllHeld = 0,
    NotAllHeld = 1,
    WrongInput = 2, // options, file or library
    DeviceLost = 3, // missing, not permitted, in use, gone
};

// A command as its function registers it.
struct Command {
    CLI::App *options;         // with its name, description, options
    std::function<int()> work; // called when it was chosen and its options are right; exit status
};

// Registers the command with the program: makes a subcommand, adds its options, which live in the
// object that `work` holds. Wrong options are CLI11's to report; what it cannot check (a file, a
// device), `work` does.
using AddCommand = Command (*)(CLI::App &program);

// The functions that main.cpp's table lists.
Command addRunCommand(CLI::App &program);
Command addPlanCommand(CLI::App &program);
Command addFindCommand(CLI::App &program);
Command addReadCommand(CLI::App &program);
Command addWriteCommand(CLI::App &program);
Command addExplainCommand(CLI::App &program);

// Adds --library to a command.
void addLibraryOption(CommandOptions options, std::string *library);
// The library's path: the option's, or the one to take when it was left out.
QString libraryPath(const std::string &option);

// One line on standard error; returns the exit status.
int complain(const QString &error, ExitCode code);

// Paths as the command line gives them.
QString pathText(const std::string &option);
