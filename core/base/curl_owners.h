// Owners of libcurl's objects. Only the modules that make requests include this.
#ifndef KELVANE_CORE_BASE_CURL_OWNERS_H
#define KELVANE_CORE_BASE_CURL_OWNERS_H

#include <curl/curl.h>

#include "core/base/owned.h"

namespace kelvane {

using CurlOwner = Owned<CURL, curl_easy_cleanup>;
using CurlListOwner = Owned<curl_slist, curl_slist_free_all>;

}  // namespace kelvane

#endif
