#include "bench/ReferenceReader.h"

#include <gmime/gmime.h>
#include <libxml/HTMLparser.h>
#include <string.h>

struct best {
  GMimeTextPart* plain;
  GMimeTextPart* html;
};

static void look(GMimeObject* parent, GMimeObject* object, gpointer data) {
  struct best* best = data;
  (void)parent;
  if (!GMIME_IS_TEXT_PART(object)) return;
  GMimeContentType* type = g_mime_object_get_content_type(object);
  if (g_mime_content_type_is_type(type, "text", "html")) {
    if (best->html == NULL) best->html = GMIME_TEXT_PART(object);
  } else if (best->plain == NULL) {
    best->plain = GMIME_TEXT_PART(object);
  }
}

static size_t html_text_size(const char* page) {
  const int options =
      HTML_PARSE_RECOVER | HTML_PARSE_NOERROR | HTML_PARSE_NOWARNING | HTML_PARSE_NONET;
  htmlDocPtr document = htmlReadMemory(page, (int)strlen(page), NULL, "utf-8", options);
  if (document == NULL) return 0;
  xmlChar* text = xmlNodeGetContent(xmlDocGetRootElement(document));
  const size_t size = text == NULL ? 0 : (size_t)xmlStrlen(text);
  xmlFree(text);
  xmlFreeDoc(document);
  return size;
}

void reference_start(void) {
  g_mime_init();
  xmlInitParser();
}

size_t reference_read(const char* bytes, size_t size) {
  GMimeStream* stream = g_mime_stream_mem_new_with_buffer(bytes, size);
  GMimeParser* parser = g_mime_parser_new_with_stream(stream);
  GMimeMessage* message = g_mime_parser_construct_message(parser, NULL);
  size_t read = 0;
  if (message != NULL) {
    struct best best = {NULL, NULL};
    g_mime_message_foreach(message, look, &best);
    GMimeTextPart* part = best.plain != NULL ? best.plain : best.html;
    char* text = part == NULL ? NULL : g_mime_text_part_get_text(part);
    if (text != NULL) read = best.plain != NULL ? strlen(text) : html_text_size(text);
    g_free(text);
    g_object_unref(message);
  }
  g_object_unref(parser);
  g_object_unref(stream);
  return read;
}
