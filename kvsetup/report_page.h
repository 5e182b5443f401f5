// One self-contained page of a plan, a verification or a record, for people.
#ifndef INSTALIB_KVSETUP_REPORT_PAGE_H
#define INSTALIB_KVSETUP_REPORT_PAGE_H

#include "kvsetup/console.h"

// What a page shows, whatever it was made from.
struct Report {
    std::string title;     // "Plan: install ZephraniteCB"
    std::string subtitle;  // the machine, the file
    Json facts;            // labels and values
    Json stages;           // as DescribeStages makes them; "difference" and "reason" of a change are shown when there
    const char* before = "Before";
    const char* after = "After";
};

// HTML without anything that is loaded: headings, one table a stage that can be folded, filters by stage and kind (they
// need scripts; everything is shown without), light, dark and printed.
std::string MakePage(const Report& report);

#endif
