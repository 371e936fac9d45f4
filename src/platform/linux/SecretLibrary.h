#pragma once

#include <libsecret/secret.h>

#include "platform/linux/SharedLibrary.h"

namespace halcyra {

/// What the program uses of libsecret and of GLib, which comes with it.
struct SecretLibrary {
  SharedLibrary library{"libsecret-1.so.0", "libsecret-1-0"};

  decltype(&g_object_unref) objectUnref = library["g_object_unref"];
  decltype(&g_hash_table_unref) hashTableUnref = library["g_hash_table_unref"];
  decltype(&g_hash_table_lookup) hashTableLookup = library["g_hash_table_lookup"];
  decltype(&g_list_free) listFree = library["g_list_free"];
  decltype(&g_error_free) errorFree = library["g_error_free"];
  decltype(&g_io_error_quark) ioErrorQuark = library["g_io_error_quark"];
  decltype(&g_dbus_error_quark) dbusErrorQuark = library["g_dbus_error_quark"];
  decltype(&g_bus_get_sync) busGetSync = library["g_bus_get_sync"];
  decltype(&g_dbus_connection_is_closed) connectionIsClosed =
      library["g_dbus_connection_is_closed"];
  decltype(&g_dbus_connection_set_exit_on_close) connectionSetExitOnClose =
      library["g_dbus_connection_set_exit_on_close"];

  decltype(&secret_error_get_quark) secretErrorQuark = library["secret_error_get_quark"];
  decltype(&secret_attributes_build) attributesBuild = library["secret_attributes_build"];

  decltype(&secret_service_get_type) serviceGetType = library["secret_service_get_type"];
  decltype(&secret_service_open_sync) serviceOpenSync = library["secret_service_open_sync"];
  decltype(&secret_service_search_sync) serviceSearchSync = library["secret_service_search_sync"];
  decltype(&secret_service_unlock_sync) serviceUnlockSync = library["secret_service_unlock_sync"];
  decltype(&secret_service_store_sync) serviceStoreSync = library["secret_service_store_sync"];

  decltype(&secret_collection_for_alias_sync) collectionForAliasSync =
      library["secret_collection_for_alias_sync"];
  decltype(&secret_collection_get_locked) collectionGetLocked =
      library["secret_collection_get_locked"];

  decltype(&secret_item_get_locked) itemGetLocked = library["secret_item_get_locked"];
  decltype(&secret_item_get_attributes) itemGetAttributes = library["secret_item_get_attributes"];
  decltype(&secret_item_load_secret_sync) itemLoadSecretSync =
      library["secret_item_load_secret_sync"];
  decltype(&secret_item_get_secret) itemGetSecret = library["secret_item_get_secret"];
  decltype(&secret_item_set_secret_sync) itemSetSecretSync = library["secret_item_set_secret_sync"];
  decltype(&secret_item_delete_sync) itemDeleteSync = library["secret_item_delete_sync"];

  decltype(&secret_value_new) valueNew = library["secret_value_new"];
  decltype(&secret_value_get) valueGet = library["secret_value_get"];
  decltype(&secret_value_unref) valueUnref = library["secret_value_unref"];
};

/// Loads the libraries at the first call. Any thread may call. Throws LibraryError.
inline const SecretLibrary& libsecret() {
  static const SecretLibrary library;
  return library;
}

}  // namespace halcyra
