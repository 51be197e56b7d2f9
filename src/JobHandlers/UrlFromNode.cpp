#include "JobHandlers/UrlFromNode.h"

#include "JobHandlers/XMLNodeType.h"
#include "Utils.h"

#include <stdexcept>

namespace ovo {

http::UrlInfo getUrlFromNode(const std::map<std::string, std::string>& child,
                             const http::UrlInfo& serverAddress) {
    const std::string& url = child.at(XMLParser::DOWNLOADABLE_FILE_ATTR_URL_STR);
    if (url.empty())
        throw std::runtime_error("Empty url attribute.");
    return Utils::prependServerAddressToRelativeURL(url, serverAddress.getAbsolutePath());
}

} // namespace ovo
