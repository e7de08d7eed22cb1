#pragma once

class clReporter;
struct options_t;

/** The command "check": see command_t::pRun. */
int RunCheck(const options_t &options, clReporter &reporter);
