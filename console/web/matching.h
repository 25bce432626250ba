#pragma once

// How well texts answer a search. A search is words; each must be found in one of the texts.

#include <string>
#include <string_view>
#include <vector>

namespace web {

class Query {
 public:
  explicit Query(std::string_view text);

  bool Empty() const { return m_words.empty(); }
  // In lower case, without blanks at its ends.
  const std::string& Text() const { return m_text; }

  struct Field {
    std::string_view text;  // in lower case
    int weight = 1;
    bool forgives = false;  // small misspellings
  };
  // 0 where a word is in none of the fields; more where words begin words, or stand in fields of more weight.
  int Score(const std::vector<Field>& fields) const;
  // Whether each word is in the text, which is in lower case.
  bool IsIn(std::string_view lower) const;

 private:
  std::vector<std::string> m_words;  // in lower case
  std::string m_text;
};

// Whether the beginning of a word is what was typed, but for a letter too few, too many, wrong or changed
// over with its neighbour; two such where many letters were typed, and none where they are few.
bool BeginsAlmost(std::string_view word, std::string_view typed);

}  // namespace web
