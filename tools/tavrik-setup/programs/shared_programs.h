// The programs that are set up on every system, and what their settings are made of.
#pragma once

#include "tools/tavrik-setup/programs/setting.h"

#include <memory>
#include <string>
#include <utility>

namespace setup {

template <typename Kind, typename... Arguments>
std::shared_ptr<const FileKind> Make(Arguments&&... arguments)
{
    return std::make_shared<Kind>(std::forward<Arguments>(arguments)...);
}

// A file of our own in the folder of configuration.
FileSetting OwnConfiguration(const Place& place, const char* name, const std::string& text);

Program Firefox(FileSetting policies);
Program Thunderbird(FileSetting policies);
Program Java(const Place& place);
// `tls` is the file that keeps OpenSSL to what the card can do, as a person is told of it.
Program OpenVpn(const Place& place, const std::string& tls);

} // namespace setup
