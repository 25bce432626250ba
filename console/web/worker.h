#pragma once

// The process in which the pages live, and which serves the browser, until it is to end or another computer
// is chosen. The one that watches over it gives it a job and hears its reports, a line of JSON each.

#include <optional>
#include <string>
#include <string_view>

#include "console/web/gate.h"
#include "console/web/serve.h"

namespace web {

struct Job {
  ServeOptions options;
  std::string listener;   // as it was handed over
  std::string notice;     // for the person
  std::string transfers;  // the folder for files that pass through the browser
  Secrets secrets;
};

struct Report {
  enum class Kind : unsigned char { Ready, Say, Failed, Switch };
  Kind kind = Kind::Ready;
  std::string text;    // what to say, or why it failed
  Host::Options host;  // of a switch
  Secrets secrets;     // of a switch: those that count now
};

std::string LineOf(const Job& job);
std::string LineOf(const Report& report);
// Nothing for another text.
std::optional<Report> ReportOf(std::string_view line);

}  // namespace web
