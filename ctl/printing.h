// Everything that zrpctl writes: answers to standard output, all else to standard error.
#pragma once

#include <string>
#include <string_view>

#include "ctl/failure.h"
#include "ctl/outcome.h"
#include "ctl/session.h"

namespace zrp::ctl {

// Streams that the program runs without must not become those of a socket or of the log.
void reserve_streams();

// An answer as its options ask for, in full, before its first byte is written.
std::string rendered(Outcome outcome, const Options& options);

// Writes to standard output. Throws a Failure of kind kOutput.
void write_output(std::string_view text);

// Shows a failure: a line on standard error, and with --json an object on standard output unless
// the answer has it already.
void report(const Failure& failure, bool json);

// A line or more on standard error, of visible text.
void print_note(std::string_view text);

// The same without a line end, before what a person types.
void print_question(std::string_view text);

// A document for standard output: as it is in a pipe, visible and with a line end on a terminal.
std::string shown_document(const std::string& document);

// Sizes and times for people.
std::string size_words(uint64_t bytes);       // "1.50 GB"
std::string local_time(int64_t epoch);        // with the offset from UTC; empty beyond the calendar
std::string utc_time(int64_t epoch);          // ISO 8601; empty beyond the calendar
std::string duration_words(uint64_t seconds); // "1d 01:01:01"

} // namespace zrp::ctl
