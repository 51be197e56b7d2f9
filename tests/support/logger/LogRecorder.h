#ifndef LOGRECORDER_H
#define LOGRECORDER_H

#include <chrono>
#include <string>
#include <vector>

/// Keeps the log lines written during its life, from all threads. One at a time; lines written
/// while there is none go to nowhere, or to stderr when TEST_LOG is set in the environment.
class LogRecorder {
public:
    struct Line {
        int level;
        std::string source;
        int line;
        std::string text;
    };

    LogRecorder();
    ~LogRecorder();
    LogRecorder(const LogRecorder&) = delete;
    LogRecorder& operator=(const LogRecorder&) = delete;

    std::vector<Line> lines() const;
    std::size_t size() const; ///< in lines
    /// "LEVEL SOURCE: TEXT" of each line, for EXPECT_THAT(…, Contains(…)).
    std::vector<std::string> texts() const;
    /// True when a line of that level has exactly that text.
    bool has(int level, const std::string& text) const;
    std::size_t count(int level, const std::string& text) const;
    /// True when the text is found inside any line.
    bool mentions(const std::string& part) const;
    /// Waits for a line that has exactly that text.
    bool waitFor(int level, const std::string& text,
                 std::chrono::milliseconds timeout = std::chrono::seconds(10)) const;
    void clear();
};

#endif
