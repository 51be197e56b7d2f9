#ifndef JOBHANDLERS_URLFROMNODE_H
#define JOBHANDLERS_URLFROMNODE_H

#include "http/UrlInfo.h"

#include <map>
#include <string>

namespace ovo {

/// The URL named by the attribute "url" of one child of a node, resolved against the directory of
/// the server address. Throws std::out_of_range when there is no such attribute, std::runtime_error
/// "Empty url attribute." and http::UrlException.
http::UrlInfo getUrlFromNode(const std::map<std::string, std::string>& child,
                             const http::UrlInfo& serverAddress);

} // namespace ovo

#endif
