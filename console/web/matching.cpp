#include "console/web/matching.h"

#include <algorithm>
#include <array>

#include "platform/text.h"

namespace web {
namespace {

bool IsPartOfWord(char c) {
  return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || static_cast<unsigned char>(c) >= 0x80;
}

// Calls `visit` with each word of the text until it returns true.
template <class Visit>
bool AnyWord(std::string_view text, const Visit& visit) {
  for (size_t at = 0; at < text.size();) {
    while (at < text.size() && !IsPartOfWord(text[at])) ++at;
    size_t end = at;
    while (end < text.size() && IsPartOfWord(text[end])) ++end;
    if (end > at && visit(text.substr(at, end - at))) return true;
    at = end;
  }
  return false;
}

int ScoreOf(const std::string& word, const Query::Field& field) {
  constexpr int kBegins = 4;
  constexpr int kInside = 2;
  size_t at = field.text.find(word);
  if (at != std::string_view::npos) {
    for (; at != std::string_view::npos; at = field.text.find(word, at + 1)) {
      if (at == 0 || !IsPartOfWord(field.text[at - 1])) return kBegins * field.weight;
    }
    // In sentences, which weigh least, every few letters stand somewhere.
    return field.weight > 1 ? kInside * field.weight : 0;
  }
  const bool almost = field.forgives &&
                      AnyWord(field.text, [&word](std::string_view own) { return BeginsAlmost(own, word); });
  return almost ? field.weight : 0;
}

}  // namespace

bool BeginsAlmost(std::string_view word, std::string_view typed) {
  constexpr size_t kMost = 32;
  if (typed.size() < 4 || typed.size() >= kMost) return false;
  const int allowed = typed.size() < 8 ? 1 : 2;
  word = word.substr(0, typed.size() + static_cast<size_t>(allowed));
  // The rows of a distance by Damerau, in which what stands behind the typed letters costs nothing.
  std::array<std::array<int, kMost + 3>, 3> rows{};
  for (size_t j = 0; j <= word.size(); ++j) rows[0][j] = static_cast<int>(j);
  for (size_t i = 1; i <= typed.size(); ++i) {
    auto& row = rows[i % 3];
    const auto& above = rows[(i + 2) % 3];
    row[0] = static_cast<int>(i);
    for (size_t j = 1; j <= word.size(); ++j) {
      row[j] = std::min({above[j] + 1, row[j - 1] + 1, above[j - 1] + (typed[i - 1] == word[j - 1] ? 0 : 1)});
      if (i > 1 && j > 1 && typed[i - 1] == word[j - 2] && typed[i - 2] == word[j - 1]) {
        row[j] = std::min(row[j], rows[(i + 1) % 3][j - 2] + 1);
      }
    }
  }
  const auto& last = rows[typed.size() % 3];
  return *std::min_element(last.begin(), last.begin() + static_cast<std::ptrdiff_t>(word.size()) + 1) <=
         allowed;
}

Query::Query(std::string_view text) {
  for (std::string& word : text::Split(text::Lower(text), ' ')) {
    if (!word.empty()) m_words.push_back(std::move(word));
  }
  m_text = text::Joined(m_words, " ");
}

int Query::Score(const std::vector<Field>& fields) const {
  int sum = 0;
  for (const std::string& word : m_words) {
    int best = 0;
    for (const Field& field : fields) best = std::max(best, ScoreOf(word, field));
    if (best == 0) return 0;
    sum += best;
  }
  return sum;
}

bool Query::IsIn(std::string_view lower) const {
  return std::all_of(m_words.begin(), m_words.end(),
                     [lower](const std::string& word) { return lower.find(word) != std::string_view::npos; });
}

}  // namespace web
