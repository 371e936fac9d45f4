#pragma once

#include <string>
#include <vector>

namespace halcyra::bench {

/// Raw messages of one class, the same on every run.
struct Corpus {
  std::string name;
  std::vector<std::string> messages;

  std::size_t bytes() const;
};

/// 1 to 20 KB: plain text in several encodings, and short multiparts.
Corpus smallMail();

/// Newsletters of 50 to 500 KB, quoted-printable and base64, with tables, styles and links.
Corpus htmlMail();

/// The pages of such newsletters, without headers and transfer encoding.
Corpus newsletters();

/// A short text with an attachment of 1 to 20 MB.
Corpus attachmentMail();

}  // namespace halcyra::bench
