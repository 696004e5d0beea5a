#include "CStringList.h"

#include <algorithm>
#include <climits>
#include <iterator>
#include <numeric>
#include <ostream>
#include <string_view>
#include <unordered_set>
#include <utility>

namespace {

// The caller gives the object up, so that it was handed over as read-only no longer matters.
std::unique_ptr<CString> TakeOver(const CString* p) {
    return std::unique_ptr<CString>(const_cast<CString*>(p));
}

}  // namespace

CStringList::CStringList() = default;
CStringList::CStringList(const CStringList& other) {
    Insert(other);
}
CStringList::~CStringList() = default;

CStringList& CStringList::operator=(const CStringList& other) {
    return this == &other ? *this : Clear().Insert(other);
}

CStringList& CStringList::operator=(const CString& s) {
    CStringList one;
    one << s;  // s may be one of the texts that go
    items.swap(one.items);
    return *this;
}

int CStringList::GetCount() const {
    return static_cast<int>(items.size());
}

bool CStringList::ValidIndex(int i) const {
    return i >= 0 && static_cast<std::size_t>(i) < items.size();
}

int CStringList::GetLength() const {
    const auto add = [](long long sum, const auto& item) { return sum + item->GetLength(); };
    return static_cast<int>(
        std::min<long long>(std::accumulate(items.begin(), items.end(), 0LL, add), INT_MAX));
}

bool CStringList::IsEmpty() const {
    return GetLength() == 0;
}

CString& CStringList::operator[](int i) {
    return ValidIndex(i) ? *items[static_cast<std::size_t>(i)] : placeholder;
}

CString& CStringList::GetString(int i) {
    return (*this)[i];
}

CString CStringList::operator[](int i) const {
    return ValidIndex(i) ? *items[static_cast<std::size_t>(i)] : placeholder;
}

CString CStringList::GetString(int i) const {
    return (*this)[i];
}

CString CStringList::Join(const CString& sep) const {
    CString joined;
    for (const auto& item : items) {
        if (item != items.front()) joined += sep;
        joined += *item;
    }
    return joined;
}

int CStringList::FindString(const CString& s) const {
    const auto found = std::find_if(items.begin(), items.end(), [&](const auto& item) { return *item == s; });
    return found == items.end() ? -1 : static_cast<int>(found - items.begin());
}

int CStringList::Insert(const CString& s) {
    items.push_back(std::make_unique<CString>(s));
    return GetCount() - 1;
}

int CStringList::Insert(const CString* p) {
    if (!p) return -1;
    items.push_back(TakeOver(p));
    return GetCount() - 1;
}

CStringList& CStringList::Insert(const CStringList& other) {
    return InsertCopies(items.size(), other);
}

CStringList& CStringList::operator<<(const CString& s) {
    Insert(s);
    return *this;
}

CStringList& CStringList::InsertAt(int i, const CString& s) {
    if (ValidIndex(i)) items.insert(items.begin() + i, std::make_unique<CString>(s));
    return *this;
}

CStringList& CStringList::InsertAt(int i, const CString* p) {
    if (ValidIndex(i) && p) items.insert(items.begin() + i, TakeOver(p));
    return *this;
}

CStringList& CStringList::InsertAt(int i, const CStringList& other) {
    return ValidIndex(i) ? InsertCopies(static_cast<std::size_t>(i), other) : *this;
}

// All copies are made before the first goes in, so other may be this list.
CStringList& CStringList::InsertCopies(std::size_t at, const CStringList& other) {
    std::vector<std::unique_ptr<CString>> copies;
    for (const auto& item : other.items) copies.push_back(std::make_unique<CString>(*item));
    items.insert(items.begin() + static_cast<std::ptrdiff_t>(at), std::make_move_iterator(copies.begin()),
                 std::make_move_iterator(copies.end()));
    return *this;
}

CStringList& CStringList::RemoveAt(int i) {
    if (ValidIndex(i)) items.erase(items.begin() + i);
    return *this;
}

CStringList& CStringList::RemoveEmpty() {
    std::erase_if(items, [](const auto& item) { return item->IsEmpty(); });
    return *this;
}

CStringList& CStringList::RemoveDuplicates() {
    std::unordered_set<std::string_view> seen;  // views of kept texts only
    std::erase_if(items, [&](const auto& item) { return !seen.insert(item->GetCString()).second; });
    return *this;
}

CStringList& CStringList::Clear() {
    items.clear();
    return *this;
}

std::ostream& CStringList::Print(std::ostream& out) const {
    for (const auto& item : items) {
        const std::string_view shown = item->GetCString();
        out.write(shown.data(), static_cast<std::streamsize>(shown.size())) << std::endl;
    }
    return out;
}
