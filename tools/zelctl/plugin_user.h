// plugin_user.h: running as a plug-in's user.
#pragma once
#include <string>

namespace zelctl {

// An appid that was given, as it is. Fails if it is none.
const char* appid_value(const char* text);

// From here on this process is that plug-in's, as far as user and group go. For root.
void become(const char* appid);

// Why the broker would send the calling user away, or an empty text: a current one knows users by their names.
std::string missing_account();

}  // namespace zelctl
