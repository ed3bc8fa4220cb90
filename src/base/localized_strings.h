// Localised strings by key, and the product's display name.
#pragma once

#include <string>

// True for exactly "cn", "en" and "jp".
bool IsSupportedLanguage(const std::u16string& code);

// The text of `key` in the run's language, or the key itself when the table,
// the entry or the text is missing.
std::u16string GetLocalizedString(const std::string& key);

// product_name_cn when the system language is Chinese, else product_name_en.
std::u16string GetProductDisplayName();
