#include "console/web/worker.h"

#include <charconv>
#include <chrono>
#include <iostream>
#include <mutex>
#include <thread>

#include "console/web/import_preview.h"
#include "console/web/routes.h"
#include "platform/machine.h"
#include "platform/program.h"
#include "platform/worker.h"

namespace web {
namespace {

using nlohmann::json;

// Paths may be in any encoding, so the lines are of hexadecimal digits, which no text can break.
std::string Line(const json& object) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string line;
  for (const std::uint8_t byte : json::to_cbor(object)) {
    line += kDigits[byte >> 4];
    line += kDigits[byte & 15];
  }
  return line;
}

json ObjectOf(std::string_view line) {
  std::vector<std::uint8_t> bytes(line.size() / 2);
  for (size_t i = 0; i < bytes.size(); ++i) {
    std::from_chars(line.data() + 2 * i, line.data() + 2 * i + 2, bytes[i], 16);
  }
  return json::from_cbor(bytes, true, false);
}

json ObjectOf(const Secrets& secrets) {
  return {secrets.session, secrets.page, secrets.token, secrets.tokenUntil};
}

Secrets SecretsOf(const json& list) { return {list.at(0), list.at(1), list.at(2), list.at(3)}; }

json ObjectOf(const Host::Options& host) { return {host.computer, host.configServerMode}; }

Host::Options HostOf(const json& list) { return {list.at(0), list.at(1)}; }

std::optional<Job> JobOf(std::string_view line) {
  try {
    const json object = ObjectOf(line);
    Job job;
    job.options.home = object.at("home");
    job.options.host = HostOf(object.at("host"));
    job.options.tlsCertificate = object.at("certificate");
    job.options.tlsKey = object.at("key");
    job.options.names = object.at("names").get<std::vector<std::string>>();
    job.options.files = object.at("files").get<std::vector<std::string>>();
    job.listener = object.at("listener");
    job.notice = object.at("notice");
    job.transfers = object.at("transfers");
    job.secrets = SecretsOf(object.at("secrets"));
    return job;
  } catch (const json::exception&) {
    return std::nullopt;
  }
}

void Tell(const Report& report) {
  static std::mutex mutex;
  const std::lock_guard lock(mutex);
  std::cout << LineOf(report) << std::endl;
}

[[noreturn]] void Fail(const std::string& why) {
  Tell({Report::Kind::Failed, why, {}, {}});
  platform::EndProgram(1);
}

[[noreturn]] void AcceptAll(const platform::Listener& listener, Server& server) {
  for (;;) {
    const std::intptr_t socket = platform::Accept(listener);
    if (socket != platform::kNoSocket) {
      server.Take(socket, listener.six);
    } else {
      // There may be too many files open.
      constexpr std::chrono::milliseconds kPause(100);
      std::this_thread::sleep_for(kPause);
    }
  }
}

// The end of the input is the wish of the process that watches over this one, or its own end.
[[noreturn]] void EndWithInput() {
  std::string line;
  while (std::getline(std::cin, line)) {
  }
  platform::EndProgram(0);
}

// The answer to the one who asked goes out first.
void EndForAnother(Session& session, const Gate& gate, const Host::Options& other) {
  constexpr std::chrono::milliseconds kFlush(100);
  std::this_thread::sleep_for(kFlush);
  session.Read([&]() -> nlohmann::ordered_json {
    Tell({Report::Kind::Switch, {}, other, gate.SecretsNow()});
    platform::EndProgram(0);
  });
}

}  // namespace

std::string LineOf(const Job& job) {
  const ServeOptions& options = job.options;
  return Line({{"home", options.home},
               {"host", ObjectOf(options.host)},
               {"certificate", options.tlsCertificate},
               {"key", options.tlsKey},
               {"names", options.names},
               {"files", options.files},
               {"listener", job.listener},
               {"notice", job.notice},
               {"transfers", job.transfers},
               {"secrets", ObjectOf(job.secrets)}});
}

std::string LineOf(const Report& report) {
  return Line({{"kind", static_cast<int>(report.kind)},
               {"text", report.text},
               {"host", ObjectOf(report.host)},
               {"secrets", ObjectOf(report.secrets)}});
}

std::optional<Report> ReportOf(std::string_view line) {
  try {
    const json object = ObjectOf(line);
    return Report{static_cast<Report::Kind>(object.at("kind").get<int>()), object.at("text"),
                  HostOf(object.at("host")), SecretsOf(object.at("secrets"))};
  } catch (const json::exception&) {
    return std::nullopt;
  }
}

int ServePages() {
  std::string line;
  const std::optional<Job> job = std::getline(std::cin, line) ? JobOf(line) : std::nullopt;
  if (!job) return 1;
  std::thread(EndWithInput).detach();
  const ServeOptions& options = job->options;
  Gate::Place place{{}, !options.tlsKey.empty(), options.names};
  if (!platform::TakeOver(job->listener, place.listener)) Fail("The console's socket was lost.");
  SettingsIndex index(options.home, options.host);
  if (const machine::Outcome opened = machine::OpenHome(options.home); !opened) Fail(opened.sentence);
  std::string why;
  const std::unique_ptr<Host> host = Host::Start(options.host, why);
  if (host == nullptr) Fail(why);
  host->confirmImport = [&host](const std::string& file, const SourceOpener& open) {
    return ConfirmImport(*host, file, open);
  };
  Session session(*host, {MakeSecret().substr(0, 16), job->notice, options.files, job->transfers});
  Gate gate(place, job->secrets, [](const std::string& said) { Tell({Report::Kind::Say, said, {}, {}}); });
  std::unique_ptr<Transport> transport =
      place.tls ? TlsTransport(options.tlsCertificate, options.tlsKey, why) : PlainTransport();
  if (transport == nullptr) Fail(why);
  const SwitchHost switchHost = [&](const Host::Options& other) {
    std::thread([&session, &gate, other] { EndForAnother(session, gate, other); }).detach();
  };
  Server server(MakeSite(gate, session, index, switchHost), std::move(transport));
  std::thread([&] { AcceptAll(place.listener, server); }).detach();
  Tell({});
  session.Run();
}

}  // namespace web
