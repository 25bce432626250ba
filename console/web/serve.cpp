#include "console/web/serve.h"

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <mutex>

#include "console/web/server.h"
#include "console/web/worker.h"
#include "platform/machine.h"
#include "platform/program.h"
#include "platform/worker.h"

namespace web {
namespace {

namespace fs = std::filesystem;

// Shows the address in the person's browser; without one nothing happens. Arguments of processes are in
// everybody's sight, so the browser gets a file of this user alone, which leads to the address.
bool OpenBrowser(const std::string& address, const std::string& folder) {
  if (folder.empty()) return false;
  const fs::path file = platform::PathOf(folder) / "open.html";
  {
    std::ofstream page(file, std::ios::binary);
    std::error_code error;
    fs::permissions(file, fs::perms::owner_read | fs::perms::owner_write, error);
    page << "<!doctype html><meta charset=\"utf-8\"><title>Marrowen</title><meta "
            "http-equiv=\"refresh\" content=\"0;url="
         << address << "\">\n";
    if (error || !page.flush()) return false;
  }
  return platform::OpenForPerson(platform::TextOf(file));
}

// What the pages had opened when they ended, on whichever computer.
void PutBackEverywhere(const std::string& home) {
  if (!machine::OpenHome(home)) return;
  std::vector<std::string> computers = machine::Computers();
  computers.insert(computers.begin(), "");
  for (const std::string& computer : computers) {
    if (machine::StandOn(computer)) PutBackAccessLists();
  }
  machine::CloseHome();
}

class Console {
 public:
  Console(const ServeOptions& options, const Gate::Place& place)
      : m_options(options), m_place(place), m_secrets{MakeSecret(), MakeSecret(), {}, 0} {
    MakeToken(m_secrets);
    platform::OnWishToEnd([this] {
      m_wantsEnd = true;
      const std::lock_guard lock(m_mutex);
      if (m_worker) m_worker->End();
    });
  }

  // Keeps one serving process alive, another for each choice of computer, until a person wants the end.
  std::string Watch() {
    Host::Options wanted = m_options.host;
    std::optional<Host::Options> before;  // what was served until a person chose `wanted`
    std::string notice;
    for (;;) {
      const std::optional<Report> report = ServeHost(wanted, notice);
      if (m_wantsEnd) return {};
      if (!report || report->kind == Report::Kind::Ready) return "The console's pages ended unexpectedly.";
      notice.clear();
      if (report->kind == Report::Kind::Switch) {
        m_secrets = report->secrets;
        before = wanted;
        wanted = report->host;
      } else if (before) {
        // The other computer can't be shown: back to the one before, with a word why.
        notice = report->text;
        wanted = *before;
        before.reset();
      } else {
        return report->text;
      }
    }
  }

 private:
  // Until its process has ended. Returns its last report.
  std::optional<Report> ServeHost(const Host::Options& host, const std::string& notice) {
    const platform::ScratchFolder transfers;
    {
      const std::lock_guard lock(m_mutex);
      if (m_wantsEnd) return std::nullopt;
      m_worker = platform::Worker::Start(kPagesArgument, &m_place.listener);
    }
    if (!m_worker) return Report{Report::Kind::Failed, "The console can't start a process.", {}, {}};
    Job job{m_options, m_worker->HandedOver(), notice, transfers.Path(), m_secrets};
    job.options.host = host;
    std::optional<Report> last;
    if (m_worker->Tell(LineOf(job))) last = HearAll();
    {
      const std::lock_guard lock(m_mutex);
      m_worker.reset();
    }
    PutBackEverywhere(m_options.home);
    return last;
  }

  std::optional<Report> HearAll() {
    std::optional<Report> last;
    while (const std::optional<std::string> line = m_worker->Hear()) {
      std::optional<Report> report = ReportOf(*line);
      if (!report) continue;
      if (report->kind == Report::Kind::Say) {
        std::cout << report->text << std::endl;
        continue;
      }
      last = std::move(report);
      if (last->kind == Report::Kind::Ready) Announce();
    }
    return last;
  }

  void Announce() {
    if (m_announced) return;
    m_announced = true;
    const std::string address = Gate(m_place, m_secrets, {}).Address();
    std::cout << "The console is at " << address << std::endl;
    if (m_options.open && !OpenBrowser(address, m_door.Path())) {
      std::cout << "No browser could be started: open that address in one." << std::endl;
    }
    if (platform::OutputIsTerminal()) std::cout << "Ctrl+C ends it." << std::endl;
  }

  const ServeOptions& m_options;
  const Gate::Place& m_place;
  Secrets m_secrets;
  std::atomic<bool> m_wantsEnd = false;
  bool m_announced = false;
  platform::ScratchFolder m_door;  // for the file that opens the browser
  std::mutex m_mutex;
  std::unique_ptr<platform::Worker> m_worker;  // reset and made under the mutex
};

std::string WhyNotToOthers(const ServeOptions& options, const Gate::Place& place) {
  if (place.listener.loopback) return {};
  if (!HasTls()) {
    return "This console has no TLS, so it listens on this machine alone: " + place.listener.address +
           " is open to others.";
  }
  if (place.tls || options.insecure) return {};
  return "Others can reach " + place.listener.address +
         ": give --tls-cert and --tls-key, or --insecure to let them read along.";
}

}  // namespace

std::string Serve(const ServeOptions& options) {
  if (options.tlsCertificate.empty() != options.tlsKey.empty()) {
    return "TLS wants both a certificate and a key.";
  }
  Gate::Place place{{}, !options.tlsKey.empty(), options.names};
  std::string why;
  if (place.tls && TlsTransport(options.tlsCertificate, options.tlsKey, why) == nullptr) return why;
  if (why = platform::Listen(options.listen, place.listener); !why.empty()) return why;
  if (why = WhyNotToOthers(options, place); !why.empty()) return why;
  return Console(options, place).Watch();
}

}  // namespace web
