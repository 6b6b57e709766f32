// How the stores replace their files: the mode is kept, and the temporary files of
// dead writers (and only theirs) are removed at start.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "platform/file_watch.h"
#include "platform/nvram_file.h"
#include "support/temp_dir.h"

using testing_support::TempDir;

namespace {

TEST(StoreReplace, KeepsTheModeOfTheFileItReplaces) {
    TempDir dir;
    const std::string path = dir.file("nvram.txt");
    dir.write("nvram.txt", "a=1\n");
    ASSERT_EQ(::chmod(path.c_str(), 0600), 0);
    platform::NvramFile store(path);
    ASSERT_TRUE(store.set("b", "2"));
    struct stat st;
    ASSERT_EQ(::stat(path.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0600u);
    EXPECT_EQ(dir.read("nvram.txt"), "a=1\nb=2\n");
}

TEST(StoreReplace, NewFileGets0644WhateverTheUmask) {
    TempDir dir;
    const mode_t old = ::umask(077);
    const bool ok = platform::replace_file_atomically(dir.file("new"), "x");
    ::umask(old);
    ASSERT_TRUE(ok);
    struct stat st;
    ASSERT_EQ(::stat(dir.file("new").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0644u);
}

TEST(StoreReplace, TempFilesOfLiveWritersAndOtherFilesStay) {
    TempDir dir;
    const std::string path = dir.file("nvram.txt");
    // A live writer: this process's parent is certainly running.
    dir.write("nvram.txt.tmp." + std::to_string(::getppid()), "live");
    dir.write("nvram.txt.tmp.notapid", "other");
    dir.write("other.txt.tmp.999999999", "other file");
    // A dead writer: a child that has exited and been reaped.
    pid_t child = ::fork();
    if (child == 0) ::_exit(0);
    ::waitpid(child, nullptr, 0);
    dir.write("nvram.txt.tmp." + std::to_string(child), "dead");
    EXPECT_EQ(platform::remove_stale_temp_files(path), 1);
    EXPECT_FALSE(std::filesystem::exists(path + ".tmp." + std::to_string(child)));
    EXPECT_TRUE(std::filesystem::exists(path + ".tmp." + std::to_string(::getppid())));
    EXPECT_TRUE(std::filesystem::exists(path + ".tmp.notapid"));
    EXPECT_TRUE(std::filesystem::exists(dir.file("other.txt.tmp.999999999")));
}

}  // namespace

namespace {

TEST(StoreReplace, ContentProducedInPiecesLandsWholeAndInOrder) {
    TempDir dir;
    // Pieces smaller than, equal to and larger than the block the writer collects.
    std::string expected;
    std::vector<std::string> pieces;
    for (size_t size : {1u, 8191u, 1u, 8192u, 20000u, 3u, 0u, 8190u, 2u, 3u}) {
        pieces.emplace_back(size, static_cast<char>('a' + pieces.size()));
        expected += pieces.back();
    }
    ASSERT_TRUE(
        platform::replace_file_atomically(dir.file("big"), [&](const platform::PieceSink& put) {
            for (const auto& p : pieces) put(p);
        }));
    EXPECT_EQ(dir.read("big"), expected);
    EXPECT_FALSE(std::filesystem::exists(platform::temp_file_for(dir.file("big"))));
}

TEST(StoreReplace, WriterThatCannotCreateItsTempFileLeavesTheOldFile) {
    TempDir dir;
    dir.write("file", "old");
    // A directory where the temporary file would go: even root cannot open it to write.
    std::filesystem::create_directory(platform::temp_file_for(dir.file("file")));
    bool produced = false;
    EXPECT_FALSE(
        platform::replace_file_atomically(dir.file("file"), [&](const platform::PieceSink& put) {
            produced = true;
            put("new");
        }));
    EXPECT_FALSE(produced);
    EXPECT_EQ(dir.read("file"), "old");
}

}  // namespace
