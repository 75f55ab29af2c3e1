#pragma once
// payacclink post: every department's entry of one type and date range in one command.
#include <CLI/CLI.hpp>
#include <string>

#include "browser/PostAllDepartments.h"

namespace post {

struct PostOptions {
    std::string type, from, to, department = "all", remarks;
    bool dryRun = false;
};

// Declares the mode's own options on its subcommand.
void addPostOptions(CLI::App& cmd, PostOptions& p);

// Runs it: the table on standard output, progress on standard error. Returns the exit
// status; throws std::invalid_argument for a bad option value.
int runPost(const PostOptions& p, browser::PostSession session);

}  // namespace post
