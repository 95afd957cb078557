// What a job of scans is made of beside its settings: how many pages, into which files, and what
// is told of them.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

struct JobOptions {
    std::optional<int> m_pages;
    int m_start = 1;
    bool m_mayReplace = false;
    // Seconds from one scan's beginning to the next one's; 0: a person says when.
    std::optional<double> m_batch;
    bool m_isJson = false;
    bool m_isQuiet = false;
};

void AddJobOptions(CLI::App& sub, JobOptions& options);

// False with one line in `error` for options that don't go with the output's name.
bool CheckJob(const JobOptions& options, const std::string& output, std::string* error);
