#pragma once

// `marrowen serve`: the console in the browser.

#include <string>
#include <vector>

#include "console/host.h"

namespace web {

struct ServeOptions {
  std::string home;
  Host::Options host;
  std::string listen = "127.0.0.1:8722";  // address and port; port 0 takes a free one
  std::string tlsCertificate;             // PEM files; both or none
  std::string tlsKey;
  bool insecure = false;  // listen without TLS although others can reach the address
  bool open = false;      // show the page in the person's browser
  std::vector<std::string> names;
  std::vector<std::string> files;
};

// The argument with which `Serve` starts this program anew for its pages, and what that process then does.
constexpr char kPagesArgument[] = "--serve-pages";
int ServePages();

// Serves until a signal or Ctrl+C ends it; then the error is empty. Fails with one sentence before anything
// is served. Call it with one thread and before the home was opened: the pages live in a process of their
// own, which is made anew for another computer.
std::string Serve(const ServeOptions& options);

}  // namespace web
