// Minimal option parsing for the tintara subcommands.
#pragma once

#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace tintara::cli {

// A usage error: exit status 2 with a usage line.
class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Parses "--name value", "--name=value", boolean "--flag" and positionals. The subcommand states
// which options take a value and which are flags; anything else is a usage error.
class Args {
  public:
    Args(const std::vector<std::string>& argv, const std::set<std::string>& valueOptions,
         const std::set<std::string>& flagOptions) {
        for (std::size_t i = 0; i < argv.size(); ++i) {
            const std::string& a = argv[i];
            if (a.size() > 1 && a[0] == '-' && a != "-") {
                std::string name = a, value;
                const auto eq = a.find('=');
                const bool inlineValue = eq != std::string::npos;
                if (inlineValue) {
                    name = a.substr(0, eq);
                    value = a.substr(eq + 1);
                }
                if (valueOptions.count(name)) {
                    if (!inlineValue) {
                        if (i + 1 >= argv.size())
                            throw UsageError("option " + name + " needs a value");
                        value = argv[++i];
                    }
                    m_values[name] = value;
                } else if (flagOptions.count(name) && !inlineValue) {
                    m_flags.insert(name);
                } else {
                    throw UsageError("unknown option " + a);
                }
            } else {
                m_positionals.push_back(a);
            }
        }
    }

    bool Has(const std::string& name) const { return m_values.count(name) || m_flags.count(name); }
    std::string Value(const std::string& name, const std::string& fallback = {}) const {
        const auto it = m_values.find(name);
        return it == m_values.end() ? fallback : it->second;
    }
    std::string Required(const std::string& name) const {
        const auto it = m_values.find(name);
        if (it == m_values.end())
            throw UsageError("missing " + name);
        return it->second;
    }
    const std::vector<std::string>& Positionals() const { return m_positionals; }
    // For the subcommands that take options only.
    void RequireNoPositionals() const {
        if (!m_positionals.empty())
            throw UsageError("unexpected argument " + m_positionals[0]);
    }

  private:
    std::map<std::string, std::string> m_values;
    std::set<std::string> m_flags;
    std::vector<std::string> m_positionals;
};

}  // namespace tintara::cli
