#pragma once

class clReporter;
struct options_t;

/** The command "info": see command_t::pRun. */
int RunInfo(const options_t &options, clReporter &reporter);
