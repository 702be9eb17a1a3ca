// The one exception family of the core: every failure the user should read is one of these.
#pragma once

#include <stdexcept>
#include <string>

namespace tintara {

// A piece of a file's text fit for a message, in double quotes: at most 40 characters, anything
// unprintable shown as '?', so a message never carries binary bytes or megabytes of a bad line.
inline std::string Excerpt(const std::string& text) {
    constexpr std::size_t kShown = 40;
    std::string shown = "\"";
    for (const char c : text.substr(0, kShown)) {
        const auto u = static_cast<unsigned char>(c);
        shown.push_back(u >= 32 && u < 127 ? c : '?');
    }
    shown += text.size() > kShown ? "...\"" : "\"";
    return shown;
}

// Base of all core errors. what() is a complete sentence fit for a message box or stderr.
class Error : public std::runtime_error {
  public:
    explicit Error(const std::string& message) : std::runtime_error(message) {}
};

// A file could not be read or understood. Carries the source name and, when known, the 1-based
// line; what() reads "<source>: line <n>: <reason>" (or "<source>: <reason>" without a line).
class ParseError : public Error {
  public:
    ParseError(std::string source, int line, std::string reason)
        : Error(Compose(source, line, reason)),
          m_source(std::move(source)),
          m_line(line),
          m_reason(std::move(reason)) {}

    const std::string& Source() const { return m_source; }
    int Line() const { return m_line; }  // 0 when the error is not tied to a line
    const std::string& Reason() const { return m_reason; }

  private:
    static std::string Compose(const std::string& source, int line, const std::string& reason) {
        if (line > 0)
            return source + ": line " + std::to_string(line) + ": " + reason;
        return source + ": " + reason;
    }
    std::string m_source;
    int m_line;
    std::string m_reason;
};

// A file could not be opened, written or renamed.
class IoError : public Error {
  public:
    using Error::Error;
};

// A computation produced a value it must not (division by zero, a non-finite result).
class ComputeError : public Error {
  public:
    using Error::Error;
};

// A command refused to go on, with the titled message the user sees ("Data Error", ...).
class Refusal : public Error {
  public:
    Refusal(std::string title, std::string text)
        : Error(title + ": " + text), m_title(std::move(title)), m_text(std::move(text)) {}
    const std::string& Title() const { return m_title; }
    const std::string& Text() const { return m_text; }

  private:
    std::string m_title;
    std::string m_text;
};

}  // namespace tintara
