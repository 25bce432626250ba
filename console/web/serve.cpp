#include "console/web/serve.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <iostream>
#include <thread>

#include "console/web/import_preview.h"
#include "console/web/routes.h"
#include "platform/embedded/controls.h"
#include "platform/machine.h"

namespace web {
namespace {

// What a serving process tells the one that watches over it, a record at a time.
struct Report {
  enum class Kind : unsigned char { Ready, Failed, Switch };
  Kind kind;
  bool configServer;
  char text[512];  // the failure, or the computer
};

void Send(int pipe, Report::Kind kind, const std::string& text, bool configServer = false) {
  Report report{kind, configServer, {}};
  text.copy(report.text, sizeof report.text - 1);
  if (write(pipe, &report, sizeof report) != sizeof report) _exit(1);
}

// A folder of this user alone, which goes with all that lies in it. What is left of one whose process was
// killed, with clear passwords perhaps, goes when the next one is made: a lock says that it is in use.
class ScratchFolder {
 public:
  ScratchFolder() {
    std::error_code error;
    const std::filesystem::path place = std::filesystem::temp_directory_path(error);
    RemoveAbandoned(place);
    m_path = (place / (std::string(kStart) + "XXXXXX")).string();
    if (mkdtemp(m_path.data()) == nullptr) {
      m_path.clear();
      return;
    }
    m_lock = open((m_path + kLock).c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (m_lock >= 0) flock(m_lock, LOCK_EX | LOCK_NB);
  }
  ~ScratchFolder() {
    std::error_code ignored;
    if (!m_path.empty()) std::filesystem::remove_all(m_path, ignored);
    if (m_lock >= 0) close(m_lock);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  // Empty where none could be made.
  const std::string& Path() const { return m_path; }

 private:
  static constexpr std::string_view kStart = "marrowen-";
  static constexpr const char* kLock = "/lock";

  static void RemoveAbandoned(const std::filesystem::path& place) {
    std::error_code error;
    for (std::filesystem::directory_iterator it(place, error), end; !error && it != end;
         it.increment(error)) {
      const std::string path = it->path().string();
      struct stat status {};
      if (!it->path().filename().string().starts_with(kStart) || lstat(path.c_str(), &status) != 0 ||
          !S_ISDIR(status.st_mode) || status.st_uid != geteuid() || (status.st_mode & 077) != 0) {
        continue;
      }
      const int lock = open((path + kLock).c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW);
      if (lock < 0) continue;
      std::error_code ignored;
      if (flock(lock, LOCK_EX | LOCK_NB) == 0) std::filesystem::remove_all(path, ignored);
      close(lock);
    }
  }

  std::string m_path;
  int m_lock = -1;
};

// Shows the address in the person's browser; without one nothing happens. Arguments of processes are in
// everybody's sight, so the browser gets a file of this user alone, which leads to the address.
void OpenBrowser(const std::string& address, const ScratchFolder& folder) {
  if (folder.Path().empty()) return;
  const std::string file = folder.Path() + "/open.html";
  {
    const int made = open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    const std::string page =
        "<!doctype html><meta charset=\"utf-8\"><title>Marrowen</title><meta "
        "http-equiv=\"refresh\" content=\"0;url=" +
        address + "\">\n";
    const bool whole =
        made >= 0 && write(made, page.data(), page.size()) == static_cast<ssize_t>(page.size());
    if (made >= 0) close(made);
    if (!whole) return;
  }
  if (fork() != 0) return;
  execlp("xdg-open", "xdg-open", file.c_str(), static_cast<char*>(nullptr));
  _exit(1);
}

class Console {
 public:
  Console(const ServeOptions& options, const Gate::Place& place, Secrets& secrets)
      : m_options(options), m_place(place), m_secrets(secrets) {
    sigemptyset(&m_signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&m_signals, signal);
    sigprocmask(SIG_BLOCK, &m_signals, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    m_signalFile = signalfd(-1, &m_signals, SFD_CLOEXEC);
  }

  // Keeps one serving process alive, another for each choice of computer, until a signal comes.
  std::string Watch() {
    Host::Options wanted = m_options.host;
    std::optional<Host::Options> before;  // what was served until a person chose `wanted`
    std::string notice;
    for (;;) {
      int ends[2];
      if (pipe2(ends, O_CLOEXEC) != 0) return "The console has no pipe left.";
      const ScratchFolder transfers;
      const pid_t process = fork();
      if (process < 0) return "The console can't start a process.";
      if (process == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        sigprocmask(SIG_UNBLOCK, &m_signals, nullptr);
        Work(wanted, notice, transfers.Path(), ends[1]);
      }
      close(ends[1]);
      const std::optional<Report> report = Follow(process, ends[0]);
      close(ends[0]);
      if (m_signalled) return {};
      if (!report || report->kind == Report::Kind::Ready) return "The console's pages ended unexpectedly.";
      notice.clear();
      if (report->kind == Report::Kind::Switch) {
        before = wanted;
        wanted = {report->text, report->configServer};
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
  // Until the process ends, or a signal ends it. Returns its last report.
  std::optional<Report> Follow(pid_t process, int pipe) {
    std::optional<Report> last;
    pollfd waiting[] = {{m_signalFile, POLLIN, 0}, {pipe, POLLIN, 0}};
    while (poll(waiting, 2, -1) > 0 || errno == EINTR) {
      m_signalled = (waiting[0].revents & POLLIN) != 0;
      if (m_signalled) break;
      if (waiting[1].revents == 0) continue;
      Report report{};
      if (read(pipe, &report, sizeof report) != sizeof report) break;
      last = report;
      if (report.kind == Report::Kind::Ready) Announce();
    }
    if (m_signalled) kill(process, SIGTERM);
    waitpid(process, nullptr, 0);
    PutBackEverywhere();
    return last;
  }

  // What the pages had opened when they ended, on whichever computer.
  void PutBackEverywhere() const {
    if (!machine::OpenHome(m_options.home)) return;
    std::vector<std::string> computers = machine::Computers();
    computers.insert(computers.begin(), "");
    for (const std::string& computer : computers) {
      if (machine::StandOn(computer)) PutBackAccessLists();
    }
    machine::CloseHome();
  }

  void Announce() {
    if (m_announced) return;
    m_announced = true;
    const std::string address = Gate(m_place, m_secrets).Address();
    std::cout << "The console is at " << address << std::endl;
    if (m_options.open) OpenBrowser(address, m_door);
  }

  // The serving process: pages on this thread, connections on others.
  [[noreturn]] void Work(const Host::Options& served, const std::string& notice, const std::string& transfers,
                         int pipe) {
    SettingsIndex index(m_options.home, served);
    const auto fail = [pipe](const std::string& why) {
      Send(pipe, Report::Kind::Failed, why);
      _exit(1);
    };
    if (const machine::Outcome opened = machine::OpenHome(m_options.home); !opened) fail(opened.sentence);
    std::string why;
    const std::unique_ptr<Host> host = Host::Start(served, why);
    if (host == nullptr) fail(why);
    char instance[65];
    MakeSecret(instance);
    host->confirmImport = ConfirmImport;
    Session session(*host, {std::string(instance, 16), notice, m_options.files, transfers});
    Gate gate(m_place, m_secrets);
    std::unique_ptr<Transport> transport =
        m_place.tls ? TlsTransport(m_options.tlsCertificate, m_options.tlsKey, why) : PlainTransport();
    if (transport == nullptr) fail(why);
    const SwitchHost switchHost = [&session, pipe](const Host::Options& other) {
      std::thread([&session, pipe, other] {
        // The answer to the one who asked goes out first.
        constexpr std::chrono::milliseconds kFlush(100);
        std::this_thread::sleep_for(kFlush);
        session.Read([pipe, &other]() -> nlohmann::ordered_json {
          Send(pipe, Report::Kind::Switch, other.computer, other.configServerMode);
          _exit(0);
        });
      }).detach();
    };
    Server server(MakeSite(gate, session, index, switchHost), std::move(transport));
    std::thread([this, &server] { Accept(server); }).detach();
    Send(pipe, Report::Kind::Ready, {});
    session.Run();
  }

  [[noreturn]] void Accept(Server& server) const {
    for (;;) {
      const std::intptr_t socket = platform::Accept(m_place.listener);
      if (socket != platform::kNoSocket) {
        server.Take(socket, m_place.listener.six);
      } else {
        // There may be too many files open.
        constexpr std::chrono::milliseconds kPause(100);
        std::this_thread::sleep_for(kPause);
      }
    }
  }

  const ServeOptions& m_options;
  const Gate::Place& m_place;
  Secrets& m_secrets;
  sigset_t m_signals;
  int m_signalFile;
  bool m_signalled = false;
  bool m_announced = false;
  ScratchFolder m_door;  // for the file that opens the browser
};

}  // namespace

std::string Serve(const ServeOptions& options) {
  if (options.tlsCertificate.empty() != options.tlsKey.empty()) {
    return "TLS wants both a certificate and a key.";
  }
  Gate::Place place;
  if (std::string why = platform::Listen(options.listen, place.listener); !why.empty()) return why;
  place.names = options.names;
  place.tls = !options.tlsKey.empty();
  if (!place.listener.loopback && !place.tls && !options.insecure) {
    return "Others can reach " + place.listener.address +
           ": give --tls-cert and --tls-key, or --insecure to let them read along.";
  }
  std::string why;
  if (place.tls && TlsTransport(options.tlsCertificate, options.tlsKey, why) == nullptr) return why;
  void* const shared =
      mmap(nullptr, sizeof(Secrets), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (shared == MAP_FAILED) return "There is no memory for the console's secrets.";
  auto& secrets = *static_cast<Secrets*>(shared);
  MakeSecret(secrets.session);
  MakeSecret(secrets.page);
  MakeToken(secrets);
  return Console(options, place, secrets).Watch();
}

}  // namespace web
