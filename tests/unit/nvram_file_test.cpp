#include "platform/nvram_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "support/temp_dir.h"

using platform::NvramFile;
using testing_support::TempDir;

TEST(NvramStore, NewlineAndBackslashEscapesRoundTrip) {
    TempDir dir;
    NvramFile store(dir.file("nvram.txt"));
    ASSERT_TRUE(store.set("k", "line1\nline2\\end\rcr"));
    EXPECT_EQ(dir.read("nvram.txt"), "k=line1\\nline2\\\\end\\rcr\n");
    NvramFile other(dir.file("nvram.txt"));
    EXPECT_EQ(other.get("k"), "line1\nline2\\end\rcr");
}

TEST(NvramStore, EscapedTextIsReadBack) {
    TempDir dir;
    dir.write("nvram.txt", "a=x\\ny\nb=c:\\\\temp\nc=ends with backslash\\\n");
    NvramFile store(dir.file("nvram.txt"));
    EXPECT_EQ(store.get("a"), "x\ny");
    EXPECT_EQ(store.get("b"), "c:\\temp");
    EXPECT_EQ(store.get("c"), "ends with backslash\\");
}

TEST(NvramStore, KeyEndsAtTheFirstEqualsSign) {
    TempDir dir;
    dir.write("nvram.txt", "url=http://x/?a=b\nempty=\n");
    NvramFile store(dir.file("nvram.txt"));
    EXPECT_EQ(store.get("url"), "http://x/?a=b");
    EXPECT_EQ(store.get("empty"), "");
    EXPECT_FALSE(store.get("url=http"));
}

TEST(NvramStore, CommentsAndBlankLinesAreIgnored) {
    TempDir dir;
    dir.write("nvram.txt", "# a comment=1\n\nk=v\n#x=y\n\r\nlast=1\r\n");
    NvramFile store(dir.file("nvram.txt"));
    EXPECT_EQ(store.all(),
              (std::map<std::string, std::string, std::less<>>{{"k", "v"}, {"last", "1"}}));
}

TEST(NvramStore, MalformedLineIsSkipped) {
    TempDir dir;
    dir.write("nvram.txt", "novalue\n=nokey\ngood=1\n  \nlast=2");
    NvramFile store(dir.file("nvram.txt"));
    EXPECT_EQ(store.get("good"), "1");
    EXPECT_EQ(store.get("last"), "2");
    EXPECT_FALSE(store.get("novalue"));
    EXPECT_FALSE(store.get(""));
    EXPECT_EQ(store.all().size(), 2u);
}

TEST(NvramStore, MissingFileIsAnEmptyStore) {
    TempDir dir;
    NvramFile store(dir.file("absent.txt"));
    EXPECT_FALSE(store.get("k"));
    EXPECT_TRUE(store.all().empty());
    EXPECT_TRUE(store.commit());
    ASSERT_TRUE(store.set("k", "v"));  // the first write creates it
    EXPECT_EQ(dir.read("absent.txt"), "k=v\n");
}

TEST(NvramStore, UnreadableStoreReadsAsEmpty) {
    TempDir dir;
    // A directory in place of the file: it exists, but reading it fails.
    std::filesystem::create_directory(dir.file("nvram.txt"));
    NvramFile store(dir.file("nvram.txt"));
    EXPECT_FALSE(store.get("k"));
    EXPECT_TRUE(store.all().empty());
}

TEST(NvramStore, StoreWithoutReadPermissionReadsAsEmpty) {
    TempDir dir;
    dir.write("nvram.txt", "k=v\n");
    ASSERT_EQ(::chmod(dir.path().c_str(), 0755), 0);
    ASSERT_EQ(::chmod(dir.file("nvram.txt").c_str(), 0), 0);
    // Read as an unprivileged user (in a child, when we are the super-user), for whom
    // the file exists but cannot be opened.
    pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        if (::geteuid() == 0 && ::setresuid(65534, 65534, 65534) != 0) ::_exit(2);
        NvramFile store(dir.file("nvram.txt"));
        bool empty = !store.get("k") && store.all().empty();
        ::_exit(empty ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST(NvramStore, ChangeByAnotherWriterIsSeen) {
    TempDir dir;
    NvramFile reader(dir.file("nvram.txt"));
    NvramFile writer(dir.file("nvram.txt"));
    ASSERT_TRUE(writer.set("k", "1"));
    EXPECT_EQ(reader.get("k"), "1");
    ASSERT_TRUE(writer.set("k", "2"));
    EXPECT_EQ(reader.get("k"), "2");
    ASSERT_TRUE(writer.unset("k"));
    EXPECT_FALSE(reader.get("k"));
}

TEST(NvramStore, SameSizeRewriteInPlaceWithinOneTickIsSeen) {
    // Same inode, same size, and very likely the same time stamp: only the content
    // tells the two versions apart.
    TempDir dir;
    dir.write("nvram.txt", "k=1\n");
    NvramFile reader(dir.file("nvram.txt"));
    EXPECT_EQ(reader.get("k"), "1");
    dir.write("nvram.txt", "k=2\n");
    EXPECT_EQ(reader.get("k"), "2");
    dir.write("nvram.txt", "k=3\n");
    EXPECT_EQ(reader.get("k"), "3");
    EXPECT_EQ(reader.parse_count(), 3u);
}

TEST(NvramStore, UnchangedFileIsNotParsedAgain) {
    TempDir dir;
    dir.write("nvram.txt", "a=1\nb=2\n");
    NvramFile store(dir.file("nvram.txt"));
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(store.get("a"), "1");
        EXPECT_FALSE(store.get("zz"));
    }
    EXPECT_EQ(store.parse_count(), 1u);
}

TEST(NvramStore, OwnWriteIsNotParsedAgainOnTheNextRead) {
    TempDir dir;
    dir.write("nvram.txt", "a=1\n");
    NvramFile store(dir.file("nvram.txt"));
    ASSERT_TRUE(store.set("b", "2"));
    unsigned long after_set = store.parse_count();
    EXPECT_EQ(store.get("b"), "2");
    EXPECT_EQ(store.get("a"), "1");
    EXPECT_EQ(store.parse_count(), after_set);
}

TEST(NvramStore, KeysThatCannotBeStoredAreRefused) {
    TempDir dir;
    NvramFile store(dir.file("nvram.txt"));
    EXPECT_FALSE(store.set("", "v"));
    EXPECT_FALSE(store.set("a=b", "v"));
    EXPECT_FALSE(store.set("a\nb", "v"));
    EXPECT_FALSE(store.set("#comment", "v"));
    EXPECT_TRUE(store.all().empty());
}

TEST(NvramStore, WritesLeaveNoTemporaryFilesAndUseTheLockFile) {
    TempDir dir;
    NvramFile store(dir.file("nvram.txt"));
    ASSERT_TRUE(store.set("a", "1"));
    ASSERT_TRUE(store.set("b", "2"));
    ASSERT_TRUE(store.unset("a"));
    std::vector<std::string> names;
    for (const auto& e : std::filesystem::directory_iterator(dir.path()))
        names.push_back(e.path().filename().string());
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"nvram.txt", "nvram.txt.lock"}));
    EXPECT_EQ(dir.read("nvram.txt"), "b=2\n");
}

TEST(NvramStore, TwoProcessesSettingDifferentKeysLoseNothing) {
    TempDir dir;
    const std::string path = dir.file("nvram.txt");
    // Each set reaches stable storage (two fsyncs), so a few hundred interleaved writes
    // are enough to show that none is lost.
    constexpr int kEach = 200;
    pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        NvramFile store(path);
        bool ok = true;
        for (int i = 0; i < kEach; ++i)
            ok = store.set("child_" + std::to_string(i), std::to_string(i)) && ok;
        ::_exit(ok ? 0 : 1);
    }
    NvramFile store(path);
    bool ok = true;
    for (int i = 0; i < kEach; ++i)
        ok = store.set("parent_" + std::to_string(i), std::to_string(i)) && ok;
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(ok);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);

    NvramFile check(path);
    EXPECT_EQ(check.all().size(), 2u * kEach);
    for (int i = 0; i < kEach; ++i) {
        EXPECT_EQ(check.get("child_" + std::to_string(i)), std::to_string(i));
        EXPECT_EQ(check.get("parent_" + std::to_string(i)), std::to_string(i));
    }
}

TEST(NvramStore, CommitFlushesAnExistingFile) {
    TempDir dir;
    NvramFile store(dir.file("nvram.txt"));
    ASSERT_TRUE(store.set("k", "v"));
    EXPECT_TRUE(store.commit());
    EXPECT_EQ(dir.read("nvram.txt"), "k=v\n");
}

TEST(NvramText, RenderIsSortedOneEntryPerLine) {
    std::map<std::string, std::string, std::less<>> values{{"b", "2"}, {"a", "x\ny"}};
    EXPECT_EQ(platform::render_nvram_text(values), "a=x\\ny\nb=2\n");
    EXPECT_EQ(platform::parse_nvram_text(platform::render_nvram_text(values)), values);
}
