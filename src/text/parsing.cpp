#include "parsing.h"

#include <string>
#include <string_view>

#include "CCharHistogram.h"
#include "bytes.h"
#include "strfunctions.h"

using velmorin::Bytes;

namespace {

unsigned int Resemblance(const CCharHistogram& wanted, const CString& candidate) {
    CCharHistogram counts;
    counts.Insert(candidate);
    unsigned int score = 0;
    for (int value = 0; value < 256; ++value) {
        const char c = static_cast<char>(value);
        score += wanted.GetAt(c) * counts.GetAt(c);
    }
    return score;
}

int MostResembling(const CString& s, const CStringList& candidates) {
    CCharHistogram wanted;
    wanted.Insert(s);
    int best = -1;
    unsigned int best_score = 0;
    for (int i = 0; i < candidates.GetCount(); ++i) {
        const unsigned int score = Resemblance(wanted, candidates[i]);
        if (score != 0 && score == best_score) return -1;
        if (score > best_score) {
            best = i;
            best_score = score;
        }
    }
    return best;
}

}  // namespace

void ParseStr(const CString& s, const CString& separators, CStringList& fields) {
    if (s.IsEmpty() && !separators.IsEmpty()) return;
    std::string_view rest = Bytes(s);
    for (const char separator : Bytes(separators)) {
        const std::size_t end = rest.find(separator);
        if (end == std::string_view::npos) break;
        fields.Insert(std::string(rest.substr(0, end)));
        rest.remove_prefix(end + 1);
    }
    fields.Insert(std::string(rest));
}

void ParseStr(const CString& s, char c, CStringList& fields) {
    ParseStr(s, StringOfChars(c, CountChars(s, c)), fields);
}

CString VariantStr(int index, const CString& s, char c) {
    CStringList fields;
    ParseStr(s, c, fields);
    return fields[index];
}

int GuessStr(const CString& s, const CStringList& candidates, CString& result, bool guess) {
    int chosen = candidates.FindString(s);
    if (chosen < 0 && guess) chosen = MostResembling(s, candidates);
    result = chosen < 0 ? CString() : candidates[chosen];
    return chosen;
}

int GuessStr(const CString& s, const CString& candidates, CString& result, bool guess) {
    CStringList words;
    ParseStr(candidates, ' ', words);
    return GuessStr(s, words, result, guess);
}
