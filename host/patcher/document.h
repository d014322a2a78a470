// A patch as text: its statements and comments in their order, what they say, and what is
// wrong with them. Reading makes no object; a document is never changed once it is read.
#pragma once
#include "near_words.h"
#include <zan/patch.h>

#include <string>
#include <unordered_map>
#include <vector>

namespace zan {

struct finding {
    long kind, severity;
    zan_place place;
    std::string text;
};

// Findings up to a limit: behind it one says how many more there are.
class finding_list {
  public:
    void add(finding f);
    bool wants_hints() const { return all_.size() < 50; } // looking for near words takes its time
    const std::vector<finding> &all() const { return all_; }
    long errors() const { return errors_; } // also those that weren't kept

  private:
    std::vector<finding> all_;
    long more_ = 0, errors_ = 0;
};

struct document {
    enum class kind { mark, box, cord, message, layout, comment, unknown };
    struct statement {
        kind what;
        long line;
        bool blank_ahead; // an empty line stands ahead of it
        bool behind;      // a comment on the line of what stands ahead of it
        std::vector<atom> atoms;
        std::string comment; // with its #
    };
    struct box {
        symbol *name, *classname;
        size_t statement;
        long line;
    };
    struct cord {
        size_t source, destination; // of `boxes`, or none
        symbol *source_name, *destination_name;
        long outlet, inlet, line;
    };
    static constexpr size_t none = size_t(-1);

    std::string shown;  // the file's name as the user wrote it
    std::string full;   // its real name, empty for text from memory
    std::string folder; // where what it names is looked for first
    symbol *file;       // `shown`, for places
    std::vector<statement> statements;
    std::vector<box> boxes;
    std::vector<cord> cords;
    std::vector<size_t> messages; // statements
    std::unordered_map<symbol *, size_t> names;
    finding_list findings;
    bool whole = false; // nothing of the text is missing here

    size_t find(symbol *name) const
    {
        const auto at = names.find(name);
        return at == names.end() ? none : at->second;
    }
    const atom *arguments(const box &b, long *argc) const
    {
        const std::vector<atom> &atoms = statements[b.statement].atoms;
        *argc = long(atoms.size()) - 3;
        return atoms.data() + 3;
    }
};

// Fills a new document, whose names are set.
void read_text(document &d, std::string_view text);
// Reads the file `shown`; what went wrong is in the findings.
void read_file(document &d, const std::string &shown);
std::string canonical_text(const document &d);

} // namespace zan
