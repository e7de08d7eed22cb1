#pragma once

#include <string>

#include <sys/stat.h>

/** The reason, for the user, why this cannot be read as a file; empty for a regular file. */
std::string FindTypeFault(const struct stat &statFile);

/** Opens a file for reading if it is a regular one; others are not opened. One that changes in
 * between is opened without waiting and without becoming the terminal, and closed again. statFile
 * receives the status of the opened file.
 * @return the descriptor, which the caller closes
 * @throws clXInput with a reason for the user */
int OpenRegularFile(const std::string &strPath, struct stat &statFile);
