#pragma once

#include <string>

#include <sys/stat.h>

/** What is wrong with reading this as a file, as a reason for the user; empty for a regular file.
 */
std::string FindTypeFault(const struct stat &statFile);

/**
 * Opens a file for reading if it is a regular one. What is known to be none is not opened at all;
 * what changes in between is opened without waiting and without becoming the terminal, and closed
 * again.
 *
 * @param statFile is set to the status of the opened file
 * @return the descriptor, which the caller closes
 * @throws clXInput with a reason for the user
 */
int OpenRegularFile(const std::string &strPath, struct stat &statFile);
