#pragma once

#include <curl/curl.h>

#include "platform/linux/SharedLibrary.h"

namespace halcyra {

/// What the program uses of libcurl.
struct CurlLibrary {
  CurlLibrary();

  SharedLibrary library{"libcurl.so.4", "libcurl4"};

  decltype(&curl_global_init) globalInit = library["curl_global_init"];
  decltype(&curl_free) free = library["curl_free"];

  decltype(&curl_easy_init) easyInit = library["curl_easy_init"];
  decltype(&curl_easy_setopt) easySetopt = library["curl_easy_setopt"];
  decltype(&curl_easy_getinfo) easyGetinfo = library["curl_easy_getinfo"];
  decltype(&curl_easy_strerror) easyStrerror = library["curl_easy_strerror"];
  decltype(&curl_easy_cleanup) easyCleanup = library["curl_easy_cleanup"];

  decltype(&curl_slist_append) slistAppend = library["curl_slist_append"];
  decltype(&curl_slist_free_all) slistFreeAll = library["curl_slist_free_all"];

  decltype(&curl_url) url = library["curl_url"];
  decltype(&curl_url_set) urlSet = library["curl_url_set"];
  decltype(&curl_url_get) urlGet = library["curl_url_get"];
  decltype(&curl_url_cleanup) urlCleanup = library["curl_url_cleanup"];

  decltype(&curl_share_init) shareInit = library["curl_share_init"];
  decltype(&curl_share_setopt) shareSetopt = library["curl_share_setopt"];
  decltype(&curl_share_cleanup) shareCleanup = library["curl_share_cleanup"];

  decltype(&curl_multi_init) multiInit = library["curl_multi_init"];
  decltype(&curl_multi_setopt) multiSetopt = library["curl_multi_setopt"];
  decltype(&curl_multi_add_handle) multiAddHandle = library["curl_multi_add_handle"];
  decltype(&curl_multi_remove_handle) multiRemoveHandle = library["curl_multi_remove_handle"];
  decltype(&curl_multi_perform) multiPerform = library["curl_multi_perform"];
  decltype(&curl_multi_poll) multiPoll = library["curl_multi_poll"];
  decltype(&curl_multi_wakeup) multiWakeup = library["curl_multi_wakeup"];
  decltype(&curl_multi_info_read) multiInfoRead = library["curl_multi_info_read"];
  decltype(&curl_multi_cleanup) multiCleanup = library["curl_multi_cleanup"];
};

/// Loads the library at the first call. Any thread may call. Throws HttpError.
const CurlLibrary& libcurl();

/// Frees what libcurl has made.
template <auto function>
struct CurlFree {
  template <class Made>
  void operator()(Made* made) const {
    (libcurl().*function)(made);
  }
};

}  // namespace halcyra
