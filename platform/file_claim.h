// Claims on files, which end with the process: they tell the files of programs that are at work
// from those that a killed one has left behind.
#pragma once

#include <cstdio>
#include <string>

// Claims an open file until it is closed. False if another has the claim, or has removed the file
// meanwhile.
bool ClaimFile(std::FILE* file);

// Removes a file that nobody claims.
void RemoveUnclaimed(const std::string& path);
