#include "instalib/log.h"

#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/fresh_machine.h"

namespace {

class LogTest : public FreshMachine {
  protected:
    static constexpr const char* kFile = "C:\\TEST\\setup.log";
    static int WriteText(const char* file, const char* text) {
        char format[] = "%s";
        return CLog::Write(file, format, text);
    }
    // The messages of the file; fails the test when a line has another form than the log's.
    static std::vector<std::string> Messages(const std::string& bytes) {
        static const std::regex kLine("(\\d\\d/\\d\\d/\\d\\d \\d\\d:\\d\\d:\\d\\d)\t([^\r]*)");
        std::vector<std::string> messages;
        std::size_t start = 0;
        for (std::size_t end; (end = bytes.find("\r\n", start)) != std::string::npos; start = end + 2) {
            std::smatch match;
            const std::string line = bytes.substr(start, end - start);
            EXPECT_TRUE(std::regex_match(line, match, kLine)) << line;
            messages.push_back(match[2]);
        }
        EXPECT_EQ(start, bytes.size()) << "the last line has no end";
        return messages;
    }
};

TEST_F(LogTest, CreatesTheFileAndAppendsStampedLinesBehindItsLastByte) {
    EXPECT_NE(WriteText(kFile, "first"), 0);
    EXPECT_NE(WriteText(kFile, "\tsecond"), 0);
    const std::string longText(5000, 'x');
    EXPECT_NE(WriteText(kFile, longText.c_str()), 0);
    EXPECT_EQ(Messages(ReadBytes(kFile)), (std::vector<std::string>{"first", "\tsecond", longText}));
    WriteBytes(kFile, "no line end");
    EXPECT_NE(WriteText(kFile, "x"), 0);
    EXPECT_EQ(ReadBytes(kFile).substr(0, 11), "no line end");
    EXPECT_EQ(Messages(ReadBytes(kFile).substr(11)), std::vector<std::string>{"x"});
}

TEST_F(LogTest, MemberFormWritesTheTextAsItStands) {
    CLog log(kFile);
    CLog copy("elsewhere");
    copy = log;
    char percent[] = "50%% done";
    char number[] = "%d of %s";
    EXPECT_NE(log.Write(percent), 0);
    EXPECT_NE(CLog(copy).Write(number, 3, static_cast<const char*>("four %s")), 0);
    EXPECT_EQ(Messages(ReadBytes(kFile)), (std::vector<std::string>{"50% done", "3 of four %s"}));
}

TEST_F(LogTest, FileThatCannotBeOpenedLosesTheLine) {
    EXPECT_TRUE(FailsWith(ERROR_PATH_NOT_FOUND, WriteText("C:\\TEST\\missing\\setup.log", "x")));
    EXPECT_FALSE(FileExists("C:\\TEST\\missing"));
    EXPECT_EQ(WriteText("", "x"), 0);
    EXPECT_EQ(WriteText(nullptr, "x"), 0);
}

TEST_F(LogTest, RangeThatAnotherWriterHoldsLosesTheLine) {
    WriteBytes(kFile, "");
    const FileHandle other(CreateFileA(kFile, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                       FILE_ATTRIBUTE_NORMAL, nullptr));
    ASSERT_TRUE(other);
    ASSERT_TRUE(LockFile(other.Get(), 0, 0, 10, 0));
    EXPECT_TRUE(FailsWith(ERROR_LOCK_VIOLATION, WriteText(kFile, "x")));
    ASSERT_TRUE(UnlockFile(other.Get(), 0, 0, 10, 0));
    EXPECT_NE(WriteText(kFile, "y"), 0);
    EXPECT_EQ(Messages(ReadBytes(kFile)), std::vector<std::string>{"y"});
}

TEST_F(LogTest, LinesOfSeveralWritersStayWholeAndNoneOverwritesAnother) {
    std::vector<std::thread> writers;
    std::vector<std::vector<std::string>> written(4);
    for (std::size_t writer = 0; writer < written.size(); ++writer) {
        writers.emplace_back([writer, &lines = written[writer]] {
            for (int i = 0; i < 100; ++i) {
                const std::string text =
                    std::to_string(writer) + ":" + std::to_string(i) + std::string(std::size_t(i), '.');
                if (WriteText(kFile, text.c_str())) lines.push_back(text);
            }
        });
    }
    for (std::thread& writer : writers) writer.join();
    std::vector<std::string> expected;
    for (const auto& lines : written) expected.insert(expected.end(), lines.begin(), lines.end());
    EXPECT_THAT(Messages(ReadBytes(kFile)), testing::UnorderedElementsAreArray(expected));
}

}  // namespace
