#pragma once

#include <string>

#include "SPBasic.h"

namespace Brindel::GaussianBlur::ScriptHelper {

// Runs `script` in the host's scripting engine and returns the text of its
// result, or the empty string when the host gives none. The script's own
// failure is not reported here. Throws the integer kMissingSuiteError when
// the host lacks the utility or the memory suite.
std::string RunSriptAndGetStringResult(SPBasicSuite* basic, const char* script);

// `text` without the white space at its start and end; inner white space
// stays.
std::string TrimStringWhiteSpaces(const std::string& text);

} // namespace Brindel::GaussianBlur::ScriptHelper
