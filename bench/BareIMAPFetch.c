// The least that an IMAP client can do: log in, search, fetch one message after the other and drop
// the bytes. No check of anything beyond what it needs to stay in step.
// usage: bare_imap_fetch plain|tls PORT USER PASSWORD DATE     prints the bytes of all literals

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

static int wire;
static SSL *session;
static char room[1 << 16];
static size_t from, filled;
static unsigned long long dropped;

static void fail(const char *what) {
  fprintf(stderr, "bare_imap_fetch: %s\n", what);
  exit(1);
}

static void open_wire(int tls, int port) {
  struct sockaddr_in peer = {.sin_family = AF_INET, .sin_port = htons((unsigned short)port)};
  const int yes = 1;
  peer.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  wire = socket(AF_INET, SOCK_STREAM, 0);
  if (connect(wire, (struct sockaddr *)&peer, sizeof peer) != 0) fail("no connection");
  setsockopt(wire, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
  if (!tls) return;
  SSL_CTX *context = SSL_CTX_new(TLS_client_method());
  SSL_CTX_set_default_verify_paths(context);
  SSL_CTX_set_verify(context, SSL_VERIFY_PEER, NULL);
  session = SSL_new(context);
  SSL_set1_host(session, "localhost");
  SSL_set_fd(session, wire);
  if (SSL_connect(session) != 1) fail("no TLS");
}

static void say(const char *text) {
  const int size = (int)strlen(text);
  if (session ? SSL_write(session, text, size) != size : write(wire, text, (size_t)size) != size) {
    fail("not sent");
  }
}

static void more(void) {
  const long count = session ? SSL_read(session, room + filled, (int)(sizeof room - filled))
                             : read(wire, room + filled, sizeof room - filled);
  if (count <= 0) fail("the server is gone");
  filled += (size_t)count;
}

// The next line, its CR LF replaced by a NUL. Valid until the next call.
static char *line(void) {
  for (;;) {
    char *const end = from < filled ? memchr(room + from, '\n', filled - from) : NULL;
    if (end) {
      char *const begin = room + from;
      from = (size_t)(end - room) + 1;
      end[end > begin ? -1 : 0] = '\0';
      return begin;
    }
    if (from > 0) memmove(room, room + from, filled - from);
    filled -= from;
    from = 0;
    if (filled == sizeof room) fail("a long line");
    more();
  }
}

static void drop(size_t size) {
  dropped += size;
  while (size > filled - from) {
    size -= filled - from;
    from = filled = 0;
    more();
  }
  from += size;
}

// Reads to the answer of the command, dropping what comes before.
static void finish(const char *tag) {
  const size_t size = strlen(tag);
  for (;;) {
    char *const text = line();
    const char *const brace = strrchr(text, '{');
    if (strncmp(text, tag, size) == 0) {
      if (strncmp(text + size, " OK", 3) != 0) fail(text);
      return;
    }
    if (brace && text[strlen(text) - 1] == '}') drop(strtoul(brace + 1, NULL, 10));
  }
}

int main(int count, char **argument) {
  if (count != 6) fail("wrong arguments");
  static char command[512], tag[32];
  open_wire(strcmp(argument[1], "tls") == 0, atoi(argument[2]));
  line();
  snprintf(command, sizeof command, "E1 LOGIN \"%s\" \"%s\"\r\n", argument[3], argument[4]);
  say(command);
  finish("E1");
  say("E2 SELECT \"INBOX\"\r\n");
  finish("E2");
  snprintf(command, sizeof command, "E3 UID SEARCH UNSEEN SINCE %s\r\n", argument[5]);
  say(command);
  char *const found = strdup(line());
  finish("E3");
  int number = 3;
  char *rest = found + strcspn(found, "0123456789");
  while (*rest) {
    const unsigned long uid = strtoul(rest, &rest, 10);
    snprintf(tag, sizeof tag, "E%d", ++number);
    snprintf(command, sizeof command, "%s UID FETCH %lu (BODY.PEEK[])\r\n", tag, uid);
    say(command);
    finish(tag);
    rest += strspn(rest, " ");
  }
  free(found);
  printf("%llu\n", dropped);
  return 0;
}
