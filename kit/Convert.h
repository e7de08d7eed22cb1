#pragma once

class clReporter;
struct options_t;

/** The command "convert": see command_t::pRun. */
int RunConvert(const options_t &options, clReporter &reporter);
