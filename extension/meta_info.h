#pragma once
// The host's description of one request, handed unchanged to every remote method.

#include <map>
#include <string>

namespace ruv::dm::foundation::extension {

using Meta_info = std::map<std::string, std::string>;

}  // namespace ruv::dm::foundation::extension
