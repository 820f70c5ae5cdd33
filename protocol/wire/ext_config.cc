#include "protocol/wire/ext_config.h"

#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include "core/base/json.h"
#include "core/base/log.h"
#include "protocol/ext_handler_list.h"

namespace kelvane {

namespace {

ExtConfig gsExtConfig = {};

constexpr const char kEscapedAmpersand[] = "&amp;";

// Decimal digits after optional white space and sign, as far as they go; what does not fit is clamped.
int32_t decimal(const char *text) {
  const long value = strtol(text, nullptr, 10);
  return static_cast<int32_t>(value > INT32_MAX ? INT32_MAX : value < INT32_MIN ? INT32_MIN : value);
}

bool is_element(mxml_node_t *node, const char *name) {
  const char *element = mxmlGetElement(node);
  return element != nullptr && strcmp(element, name) == 0;
}

// The node itself, or the first of its following siblings, that is an element of that name; null when there is none.
mxml_node_t *element_from(mxml_node_t *node, const char *name) {
  while (node != nullptr && !is_element(node, name)) {
    node = mxmlGetNextSibling(node);
  }
  return node;
}

mxml_node_t *first_child_element(mxml_node_t *parent, const char *name) {
  return element_from(mxmlGetFirstChild(parent), name);
}

mxml_node_t *next_element(mxml_node_t *node, const char *name) {
  return element_from(mxmlGetNextSibling(node), name);
}

// The first element of that name in the document, its root included.
mxml_node_t *find_in(mxml_node_t *document, const char *name) {
  return is_element(document, name) ? document : xml_find(document, name);
}

// Turns each "&amp;" into "&", in one pass; other entities stay. The text shrinks in place.
void unescape_ampersands(char *text) {
  char *to = text;
  for (const char *from = text; *from != '\0'; from++) {
    *to++ = *from;
    if (strncmp(from, kEscapedAmpersand, sizeof kEscapedAmpersand - 1) == 0) {
      from += sizeof kEscapedAmpersand - 2;
    }
  }
  *to = '\0';
}

// 0, or -1 when memory ran out for the address.
int32_t parse_status_blob(mxml_node_t *element, ExtConfig *config) {
  config->page_blob = 0;
  const char *type = mxmlElementGetAttr(element, "statusBlobType");
  if (type != nullptr) {
    LOG_ABOVE(6, "[kelvane]: statusBlobType: %s\n", type);
    config->page_blob = strcmp(type, "PageBlob") == 0 ? 1 : 0;
  }
  Text url;
  const int32_t result = xml_take_run(mxmlGetFirstChild(element), &url);
  char *text = url.release();
  if (text != nullptr) {
    unescape_ampersands(text);
  }
  config->status_upload_url = Text::adopt(text);
  return result;
}

// What follows is 0, or -1 when memory ran out for a part.
int32_t add_uri(ExtHandler *handler, const char *uri) {
  return uri != nullptr ? text_replace(&handler->uris[handler->uri_count++], uri) : 0;
}

int32_t parse_plugin(mxml_node_t *plugin, ExtHandler *handler) {
  int32_t result = text_replace(&handler->name, mxmlElementGetAttr(plugin, "name"));
  text_copy_field(handler->version, mxmlElementGetAttr(plugin, "version"));
  result |= text_replace(&handler->state, mxmlElementGetAttr(plugin, "state"));
  result |= text_replace(&handler->upgrade_guid, mxmlElementGetAttr(plugin, "upgradeGuid"));
  const char *auto_upgrade = mxmlElementGetAttr(plugin, "autoUpgrade");
  handler->auto_upgrade = auto_upgrade != nullptr && strcasecmp(auto_upgrade, "true") == 0 ? 1 : 0;
  result |= add_uri(handler, mxmlElementGetAttr(plugin, "location"));
  result |= add_uri(handler, mxmlElementGetAttr(plugin, "failoverlocation"));
  return result;
}

// Makes the handler list of the "Plugin" children.
int32_t parse_plugins(mxml_node_t *plugins, int32_t count, ExtHandlerList *list) {
  list->handlers = static_cast<ExtHandler *>(calloc(static_cast<size_t>(count), sizeof(ExtHandler)));
  if (list->handlers == nullptr) {
    return -1;
  }
  int32_t result = 0;
  for (mxml_node_t *plugin = first_child_element(plugins, "Plugin"); list->count < count;
       plugin = next_element(plugin, "Plugin")) {
    result |= parse_plugin(plugin, &list->handlers[list->count++]);
  }
  return result;
}

int32_t count_plugins(mxml_node_t *plugins) {
  int32_t count = 0;
  for (mxml_node_t *plugin = first_child_element(plugins, "Plugin"); plugin != nullptr;
       plugin = next_element(plugin, "Plugin")) {
    count++;
  }
  return count;
}

// Takes the three members over from the first handler settings: a text as it is, another value as its JSON text; one
// that is missing, or null, is absent. A document of another shape changes nothing.
int32_t extract_settings(ExtHandler *handler) {
  bool no_memory = false;
  const JsonOwner document = json_load(handler->runtime_settings, &no_memory);
  json_object *list = json_member(document.get(), "runtimeSettings", json_type_array);
  json_object *first = list != nullptr ? json_object_array_get_idx(list, 0) : nullptr;
  json_object *settings = json_member(first, "handlerSettings", json_type_object);
  if (settings == nullptr) {
    return no_memory ? -1 : 0;
  }
  const struct {
    const char *name;
    char **text;
  } members[] = {
      {"protectedSettingsCertThumbprint", &handler->protected_settings_thumbprint},
      {"protectedSettings", &handler->protected_settings},
      {"publicSettings", &handler->public_settings},
  };
  int32_t result = 0;
  for (const auto &member : members) {
    result |= json_replace_text(member.text, settings, member.name);
  }
  return result;
}

int32_t parse_runtime_settings(mxml_node_t *element, const char *entry_name, ExtHandler *handler) {
  handler->has_runtime_settings = 1;
  const char *sequence_number = mxmlElementGetAttr(element, "seqNo");
  if (sequence_number != nullptr) {
    handler->sequence_number = decimal(sequence_number);
  }
  Text settings;
  int32_t result = xml_take_run(mxmlGetFirstChild(element), &settings);
  free(handler->runtime_settings);
  handler->runtime_settings = settings.release();
  result |= text_replace(&handler->settings_name, entry_name);
  if (handler->runtime_settings != nullptr) {
    result |= extract_settings(handler);
  }
  return result;
}

// The first handler of that name and version; null when there is none.
ExtHandler *find_handler(const ExtHandlerList *list, const char *name, const char *version) {
  for (int32_t i = 0; i < list->count; i++) {
    ExtHandler *handler = &list->handlers[i];
    if (handler->name != nullptr && strcmp(handler->name, name) == 0 && strcmp(handler->version, version) == 0) {
      return handler;
    }
  }
  return nullptr;
}

int32_t parse_settings_entry(mxml_node_t *entry, const ExtHandlerList *list) {
  const char *name = mxmlElementGetAttr(entry, "name");
  const char *version = mxmlElementGetAttr(entry, "version");
  ExtHandler *handler = name != nullptr && version != nullptr ? find_handler(list, name, version) : nullptr;
  if (handler == nullptr) {
    return 0;
  }
  int32_t result = 0;
  // Several are taken in order: the last one wins.
  for (mxml_node_t *element = first_child_element(entry, "RuntimeSettings"); element != nullptr;
       element = next_element(element, "RuntimeSettings")) {
    result |= parse_runtime_settings(element, name, handler);
  }
  return result;
}

int32_t parse_handlers(mxml_node_t *document, ExtHandlerList *list) {
  mxml_node_t *plugins = find_in(document, "Plugins");
  if (plugins == nullptr) {
    LOG_ABOVE(4, "[kelvane]: No plugins element\n");
    return 0;
  }
  const int32_t count = count_plugins(plugins);
  if (count == 0) {
    LOG_ABOVE(4, "[kelvane]: No plugins\n");
    return 0;
  }
  if (parse_plugins(plugins, count, list) != 0) {
    return -1;
  }
  mxml_node_t *settings = find_in(document, "PluginSettings");
  if (settings == nullptr) {
    LOG_ABOVE(4, "[kelvane]: No pluginsettings - probaly uninstall\n");
    return 0;
  }
  int32_t result = 0;
  for (mxml_node_t *entry = first_child_element(settings, "Plugin"); entry != nullptr;
       entry = next_element(entry, "Plugin")) {
    result |= parse_settings_entry(entry, list);
  }
  return result;
}

}  // namespace

ExtConfig *ext_config() {
  return &gsExtConfig;
}

int32_t ExtConfigParse(mxml_node_t *document, ExtConfig *config) {
  mxml_node_t *extensions = find_in(document, "Extensions");
  if (extensions == nullptr) {
    LOG_ABOVE(0, "[kelvane]: No extensions\n");
    return -1;
  }
  ext_config_release(config);
  const char *incarnation = mxmlElementGetAttr(extensions, "goalStateIncarnation");
  if (incarnation != nullptr) {
    config->incarnation = decimal(incarnation);
  }
  mxml_node_t *status_blob = find_in(document, "StatusUploadBlob");
  if (status_blob != nullptr && parse_status_blob(status_blob, config) != 0) {
    LOG_ABOVE(0, "[kelvane]: no memory for the status blob's address, no status is uploaded\n");
    config->incomplete = 1;
  }
  if (parse_handlers(document, &config->handlers) != 0) {
    LOG_ABOVE(0, "[kelvane]: no memory for the extensions configuration, no extension of it is handled\n");
    ExtHandlerListFree(&config->handlers);
    config->incomplete = 1;
  }
  return 0;
}

void ext_config_release(ExtConfig *config) {
  config->status_upload_url.reset();
  config->incomplete = 0;
  ExtHandlerListFree(&config->handlers);
}

}  // namespace kelvane
