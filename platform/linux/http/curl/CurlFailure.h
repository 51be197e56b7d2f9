#ifndef CURLFAILURE_H
#define CURLFAILURE_H

#include <curl/curl.h>

#include <string>

namespace http {

/// Why a transfer failed, as one clause for people: no number, no text of the library.
/// detail: what the library wrote into its error buffer; only looked at.
std::string describeFailure(CURL* easy, CURLcode code, const std::string& detail);

} // namespace http

#endif
