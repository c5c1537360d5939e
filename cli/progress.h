// cli/progress.h: shows on standard error where an operation stands: one line that is drawn anew on a terminal, a line
// for each step and each tenth otherwise.
#pragma once
#include "lpa/lpa.h"
#include <ostream>
#include <string>

// Where it is shown.
struct progress_place {
    uint32_t (*columns)() = nullptr; // of the terminal, asked each time; null: there is none
    double (*seconds)() = nullptr;   // of a clock that never goes back; only for a terminal
};

// This process's standard error.
progress_place standard_error();

// Listens to the library while the object lives; at its end the cursor stands at the beginning of a line.
class progress_display {
  public:
    progress_display(std::ostream &err, progress_place place);
    ~progress_display();
    progress_display(const progress_display &) = delete;
    progress_display &operator=(const progress_display &) = delete;

  private:
    static void note(const lpa_progress *progress, void *context);
    void show(const lpa_progress &progress);
    void show_profile(const lpa_progress &progress);
    void write_line(const lpa_progress &progress);
    void redraw(const lpa_progress &progress);
    std::string live_line(const lpa_progress &progress) const;
    void end_live_line(bool keep);

    std::ostream &err_;
    const progress_place place_;
    lpa_progress last_ = {.step = UINT32_MAX, .done = 0, .total = 0, .provider = nullptr, .name = nullptr};
    std::string profile_;  // that was shown
    bool is_live_ = false; // the cursor stands behind the live line
    double begin_ = 0;     // of the step
    double drawn_ = 0;     // when the live line was
};
