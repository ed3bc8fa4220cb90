// The product configuration read from its document's text, for a program
// (an installer) that carries the document as a file or a string rather than
// as the launcher's embedded resource.
#pragma once

#include <string>

#include "base/product_config.h"

// Parses the UTF-8 text (a byte-order mark in front is skipped) and fills
// `config` as the launcher fills its own. False, with an error line, when
// the text is no JSON object or the configuration is not valid.
bool ParseProductConfigText(const std::string& utf8, CProductConfig* config);
