// The installer's two kinds of paths: the toolkit speaks Windows-form UTF-16
// paths on every platform (backslashes), the installer's own file work goes
// through std::filesystem. These convert at that boundary, losslessly.
#pragma once

#include <filesystem>
#include <string>

namespace setup {

std::filesystem::path NativePath(const std::u16string& toolkitPath);
std::u16string ToolkitPath(const std::filesystem::path& native);
std::u16string FromUtf8(const std::string& utf8);
std::string ToUtf8(const std::u16string& text);

}  // namespace setup
