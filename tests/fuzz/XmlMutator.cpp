// Mutations for the targets that read XML. Half of them move whole elements and attributes, so that most
// inputs stay well-formed and get past the parser; the others are libFuzzer's own.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <vector>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize);
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned int seed);

namespace {

struct Range {
  std::size_t begin;
  std::size_t end;
};

/// What can be moved in a document. Nothing is checked: a text that only looks like an element will do.
struct Pieces {
  std::vector<Range> elements;      ///< start tag to end tag
  std::vector<Range> attributes;    ///< with the blank before the name
  std::vector<std::size_t> inside;  ///< after the start tag of an element
  std::vector<std::size_t> inTag;   ///< after the name in a start tag
};

constexpr std::string_view kNameEnd = " \t\n/>";

/// The ranges of ` name="value"` in a start tag.
void findAttributes(std::string_view text, Range tag, Pieces& pieces) {
  std::size_t at = text.find_first_of(kNameEnd, tag.begin);
  pieces.inTag.push_back(std::min(at, tag.end));
  while (at < tag.end) {
    const std::size_t open = text.find('"', at);
    const std::size_t close = open == std::string_view::npos ? open : text.find('"', open + 1);
    if (close >= tag.end) return;
    pieces.attributes.push_back({at, close + 1});
    at = close + 1;
  }
}

Pieces findPieces(std::string_view text) {
  Pieces pieces;
  std::vector<std::size_t> open;
  for (std::size_t at = text.find('<'); at != std::string_view::npos; at = text.find('<', at + 1)) {
    const std::size_t close = text.find('>', at);
    if (close == std::string_view::npos) break;
    const char first = text[at + 1];
    if (first == '/') {
      if (open.empty()) continue;
      pieces.elements.push_back({open.back(), close + 1});
      open.pop_back();
    } else if (first != '!' && first != '?') {
      findAttributes(text, {at, close}, pieces);
      if (text[close - 1] == '/') {
        pieces.elements.push_back({at, close + 1});
      } else {
        pieces.inside.push_back(close + 1);
        open.push_back(at);
      }
    }
  }
  return pieces;
}

class Mutation {
 public:
  Mutation(std::string text, unsigned int seed) : m_text(std::move(text)), m_random(seed) {}

  /// The text with one piece moved; the text as it is when it has none.
  std::string apply() {
    const Pieces pieces = findPieces(m_text);
    if (chance(3)) {
      rearrange(pieces.attributes, pieces.inTag);
    } else {
      rearrange(pieces.elements, chance(2) ? starts(pieces.elements) : pieces.inside);
    }
    return m_text;
  }

 private:
  bool chance(std::size_t oneIn) { return below(oneIn) == 0; }
  std::size_t below(std::size_t count) {
    return std::uniform_int_distribution<std::size_t>(0, count - 1)(m_random);
  }

  static std::vector<std::size_t> starts(const std::vector<Range>& ranges) {
    std::vector<std::size_t> result;
    for (const Range& range : ranges) result.push_back(range.begin);
    return result;
  }

  /// Drops a piece, copies it to one of the places, or puts it where another piece was.
  void rearrange(const std::vector<Range>& pieces, const std::vector<std::size_t>& places) {
    if (pieces.empty() || places.empty()) return;
    const Range piece = pieces[below(pieces.size())];
    const std::string copy = m_text.substr(piece.begin, piece.end - piece.begin);
    switch (below(3)) {
      case 0:
        m_text.erase(piece.begin, copy.size());
        break;
      case 1:
        m_text.insert(places[below(places.size())], copy);
        break;
      default:
        const Range other = pieces[below(pieces.size())];
        m_text.replace(other.begin, other.end - other.begin, copy);
    }
  }

  std::string m_text;
  std::minstd_rand m_random;
};

}  // namespace

std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                    unsigned int seed) {
  if (seed % 2 == 0) return LLVMFuzzerMutate(data, size, maxSize);
  const std::string mutated = Mutation({data, data + size}, seed / 2).apply();
  if (mutated.size() > maxSize) return LLVMFuzzerMutate(data, size, maxSize);
  std::copy(mutated.begin(), mutated.end(), data);
  return mutated.size();
}
