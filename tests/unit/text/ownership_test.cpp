// Who owns what, and arguments that belong to what they are given to. Most of this fails loudest under the
// address sanitizer.

#include <gtest/gtest.h>

#include <memory>

#include "text_support.h"

TEST(Ownership, HandedOverTextIsTheListsFromThenOn) {
    CStringList list = List({"a", "b"});
    CString* const last = new CString("c");
    EXPECT_EQ(list.Insert(last), 2);
    EXPECT_EQ(&list[2], last);
    CString* const first = new CString("d");
    list.InsertAt(0, first);
    EXPECT_EQ(&list[0], first);
    EXPECT_EQ(Raw(list.RemoveAt(3)), (Strings{"d", "a", "b"}));
}

TEST(Ownership, RefusedTextStaysTheCallers) {
    CStringList list = List({"a"});
    const auto mine = std::make_unique<CString>("mine");
    for (const int i : {-1, 1, 2}) EXPECT_EQ(Raw(list.InsertAt(i, mine.get())), Strings{"a"}) << i;
    CStringList empty;
    EXPECT_EQ(empty.InsertAt(0, mine.get()).InsertAt(0, *mine).InsertAt(0, list).GetCount(), 0);

    const CString* const none = nullptr;
    EXPECT_EQ(list.Insert(none), -1);
    EXPECT_EQ(list.InsertAt(0, none).GetCount(), 1);
}

TEST(Ownership, ReferencesOutliveChangesOfTheirNeighbours) {
    CStringList list = List({"a", "kept", "a", ""});
    CString& kept = list[1];
    for (int i = 0; i < 1000; ++i) list << "more";
    list.RemoveAt(0).RemoveEmpty().RemoveDuplicates().InsertAt(0, List({"x", "y"}));
    EXPECT_EQ(Raw(list), (Strings{"x", "y", "kept", "a", "more"}));
    EXPECT_EQ(&list[2], &kept);
}

TEST(Ownership, CopiesShareNothing) {
    CStringList list = List({"a", "b"});
    const CStringList copy(list);
    CStringList assigned;
    assigned = list;
    list[0] = "changed";
    list.Clear();
    EXPECT_EQ(Raw(copy), (Strings{"a", "b"}));
    EXPECT_EQ(Raw(assigned), (Strings{"a", "b"}));
}

TEST(Ownership, PlaceholderBelongsToOneListAndOutlivesItsTexts) {
    CStringList list = List({"a"});
    list[7] = "written";
    EXPECT_EQ(Raw(list.Clear()[-1]), "written");
    EXPECT_EQ(Raw(CStringList(list)[0]), "");

    CString result("old");
    EXPECT_EQ(GuessStr("x", list, result, true), -1);
    EXPECT_EQ(Raw(result), "");
}

TEST(OwnArgument, ListTakenAsItWasBeforeTheCall) {
    CStringList list = List({"a", "b"});
    const CStringList& same = list;
    list = same;
    EXPECT_EQ(Raw(list), (Strings{"a", "b"}));
    EXPECT_EQ(Raw(list.Insert(same)), (Strings{"a", "b", "a", "b"}));
    EXPECT_EQ(Raw(list.RemoveDuplicates().InsertAt(1, same)), (Strings{"a", "a", "b", "b"}));
}

TEST(OwnArgument, TextOfTheListTakenAsItWasBeforeTheCall) {
    const std::string text(100, 'b');
    CStringList list = List({"a", text});
    list.InsertAt(0, list[1]).Insert(list[0]);
    EXPECT_EQ(Raw(list), (Strings{text, "a", text, text}));
    list = list[1];
    EXPECT_EQ(Raw(list), Strings{"a"});

    const Folder folder;
    list = List({folder.Write("k=v\n")});
    EXPECT_TRUE(list.LoadFromFile(list[0]));
    ParseStr(list[0], "=", list);
    EXPECT_EQ(Raw(list), (Strings{"k=v", "k", "v"}));
}

TEST(OwnArgument, TextAppendedOrAssignedToItself) {
    CString s("abc");
    s += s;
    s.Append(s.GetCString() + 4);
    EXPECT_EQ(Raw(s), "abcabcbc");
    s.Assign(s.GetCString() + 6);
    EXPECT_EQ(Raw(s), "bc");
    const CString& same = s;
    s = same;
    EXPECT_EQ(Raw(s), "bc");
}

TEST(OwnArgument, ResultMayBeTheTextAskedAbout) {
    CString s("abcdef");
    CString right;
    SplitStr(s, 2, s, right);
    EXPECT_EQ(Raw(s) + "|" + Raw(right), "abc|cdef");
    SplitStr(right, 1, s, right);
    EXPECT_EQ(Raw(s) + "|" + Raw(right), "cd|def");

    CString word("tsop");
    EXPECT_EQ(GuessStr(word, "start stop", word, true), 1);
    EXPECT_EQ(Raw(word), "stop");
}
