#pragma once

// Another process of this program, which this one starts and hears lines of. It ends with this one, however
// that ends.

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/listener.h"

namespace platform {

class Worker {
 public:
  virtual ~Worker() = default;
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  // Starts the program with one argument. The process reads what Tell writes from its standard input, which
  // ends when this process wants it to end, or has ended; what it writes to standard output is heard here;
  // its errors go where this process's go. `listener`, if any, is to be shared with it. Null where it can't
  // be started.
  static std::unique_ptr<Worker> Start(const std::string& argument, const Listener* listener);

  // How the process takes the listener over, by TakeOver.
  virtual std::string HandedOver() const = 0;
  // A line, without its end. False where the process takes it no more.
  virtual bool Tell(std::string_view line) = 0;
  // The next line; nothing once the process has ended.
  virtual std::optional<std::string> Hear() = 0;
  // Has the process end, by force where it does not within some seconds. From any thread.
  virtual void End() = 0;

 protected:
  Worker() = default;
};

// In the started process: the socket that was handed over. False where that was none.
bool TakeOver(const std::string& handedOver, Listener& listener);

}  // namespace platform
