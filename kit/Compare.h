#pragma once

class clReporter;
struct options_t;

/** The command "compare": see command_t::pRun. */
int RunCompare(const options_t &options, clReporter &reporter);
