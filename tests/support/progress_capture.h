// Collects what the progress callback is told while the object lives, a line a call: "opening",
// "preparing 'Desk Operator' 'Travel'", "installing 240/4811 'Desk Operator' -".
#pragma once
#include "lpa/lpa.h"
#include <array>
#include <string>
#include <vector>

class progress_capture {
  public:
    progress_capture() { LPA__set_progress_callback(note, this); }
    ~progress_capture() { LPA__set_progress_callback(nullptr, nullptr); }
    progress_capture(const progress_capture &) = delete;
    progress_capture &operator=(const progress_capture &) = delete;

    struct call {
        uint32_t step, done, total;
    };
    std::vector<call> calls;
    std::vector<std::string> lines;

    // Of calls of one step in a row the last one.
    std::vector<std::string> steps() const
    {
        std::vector<std::string> result;
        for (size_t i = 0; i < calls.size(); ++i)
            if (i + 1 == calls.size() || calls[i].step != calls[i + 1].step) result.push_back(lines[i]);
        return result;
    }

  private:
    static void note(const lpa_progress *progress, void *context)
    {
        static constexpr std::array names = {"opening",    "authenticating", "preparing",  "fetching",
                                             "installing", "reporting",      "delivering", "done"};
        std::string line = names.at(progress->step);
        if (progress->total > 0) line += ' ' + std::to_string(progress->done) + '/' + std::to_string(progress->total);
        if (progress->provider || progress->name) line += quoted(progress->provider) + quoted(progress->name);
        auto &capture = *static_cast<progress_capture *>(context);
        capture.lines.push_back(line);
        capture.calls.push_back({progress->step, progress->done, progress->total});
    }
    static std::string quoted(const char *text) { return text ? " '" + std::string(text) + "'" : " -"; }
};
