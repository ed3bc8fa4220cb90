// The installer's three commands on the toolkit. Each prints one line per
// step to standard output and, on failure, one line saying what failed to
// standard error; the result is the exit code (0 done, 1 failed).
#pragma once

#include "base/product_config.h"
#include "setup_command_line.h"

namespace setup {

int Install(const CProductConfig& config, const Options& options);
int Update(const CProductConfig& config, const Options& options);
int Uninstall(const CProductConfig& config, const Options& options);

}  // namespace setup
