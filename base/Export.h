#pragma once

/** Marks what the shared library exports. Everything else is hidden in it. */
#define VANTREL_API __attribute__((visibility("default")))
