// An audit for those who read it: as a table, as JSON, as a page.
#pragma once

#include <string>

#include "builder/audit/audit.h"

namespace wbtables {

struct ReportOptions {
    bool show_secrets = false; // recovered keys too; without it fingerprints stand for them
};

std::string audit_table(const LibraryAudit &audit, const ReportOptions &options);
std::string audit_json(const LibraryAudit &audit, const ReportOptions &options);

// One HTML file that needs no other, for light and dark screens and for paper. Without secrets nothing in it depends on
// a key byte: the bars of a byte stand in the order of their height, and not of the guesses.
std::string audit_page(const LibraryAudit &audit, const ReportOptions &options);

} // namespace wbtables
