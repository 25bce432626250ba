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

// A listening socket, and how it was bound.
struct Listener {
  int socket = -1;
  Gate::Place place;
};

// Whether only this machine reaches the address.
bool IsLoopback(const sockaddr& address) {
  if (address.sa_family == AF_INET) {
    return (ntohl(reinterpret_cast<const sockaddr_in&>(address).sin_addr.s_addr) >> 24) == 127;
  }
  return IN6_IS_ADDR_LOOPBACK(&reinterpret_cast<const sockaddr_in6&>(address).sin6_addr);
}

bool IsAny(const sockaddr& address) {
  if (address.sa_family == AF_INET) {
    return reinterpret_cast<const sockaddr_in&>(address).sin_addr.s_addr == INADDR_ANY;
  }
  return IN6_IS_ADDR_UNSPECIFIED(&reinterpret_cast<const sockaddr_in6&>(address).sin6_addr);
}

std::string Listen(const std::string& wanted, Listener& listener) {
  const size_t colon = wanted.rfind(':');
  std::string host = wanted.substr(0, colon);
  const std::string port = colon == std::string::npos ? "8722" : wanted.substr(colon + 1);
  if (host.starts_with('[') && host.ends_with(']')) host = host.substr(1, host.size() - 2);
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
  addrinfo* found = nullptr;
  if (getaddrinfo(host.empty() ? "127.0.0.1" : host.c_str(), port.c_str(), &hints, &found) != 0) {
    return "\"" + wanted + "\" is not an address and a port of this machine.";
  }
  const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> freed(found, freeaddrinfo);
  listener.socket = socket(found->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const int one = 1;
  setsockopt(listener.socket, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
  constexpr int kBacklog = 64;
  if (bind(listener.socket, found->ai_addr, found->ai_addrlen) != 0 ||
      listen(listener.socket, kBacklog) != 0) {
    return "The console can't listen on " + wanted + ": " + std::strerror(errno) + ".";
  }
  sockaddr_storage bound{};
  socklen_t size = sizeof bound;
  auto& address = reinterpret_cast<sockaddr&>(bound);
  getsockname(listener.socket, &address, &size);
  char name[NI_MAXHOST];
  char service[NI_MAXSERV];
  getnameinfo(&address, size, name, sizeof name, service, sizeof service, NI_NUMERICHOST | NI_NUMERICSERV);
  listener.place.address = name;
  listener.place.port = std::atoi(service);
  listener.place.loopback = IsLoopback(address);
  listener.place.any = IsAny(address);
  return {};
}

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
  Console(const ServeOptions& options, const Listener& listener, SSL_CTX* tls, Secrets& secrets)
      : m_options(options), m_listener(listener), m_tls(tls), m_secrets(secrets) {
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
    const std::string address = Gate(m_listener.place, m_secrets).Address();
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
    Gate gate(m_listener.place, m_secrets);
    Server server(m_listener.socket, m_tls);
    AddRoutes(server, gate, session, index, [&session, pipe](const Host::Options& other) {
      std::thread([&session, pipe, other] {
        // The answer to the one who asked goes out first.
        constexpr std::chrono::milliseconds kFlush(100);
        std::this_thread::sleep_for(kFlush);
        session.Read([pipe, &other]() -> nlohmann::ordered_json {
          Send(pipe, Report::Kind::Switch, other.computer, other.configServerMode);
          _exit(0);
        });
      }).detach();
    });
    std::thread([&server] { server.Serve(); }).detach();
    Send(pipe, Report::Kind::Ready, {});
    session.Run();
  }

  const ServeOptions& m_options;
  const Listener& m_listener;
  SSL_CTX* m_tls;
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
  Listener listener;
  if (std::string why = Listen(options.listen, listener); !why.empty()) return why;
  listener.place.names = options.names;
  listener.place.tls = !options.tlsKey.empty();
  if (!listener.place.loopback && !listener.place.tls && !options.insecure) {
    return "Others can reach " + listener.place.address +
           ": give --tls-cert and --tls-key, or --insecure to let them read along.";
  }
  std::string why;
  const TlsContext tls = listener.place.tls ? LoadTls(options.tlsCertificate, options.tlsKey, why) : nullptr;
  if (!why.empty()) return why;
  void* const shared =
      mmap(nullptr, sizeof(Secrets), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (shared == MAP_FAILED) return "There is no memory for the console's secrets.";
  auto& secrets = *static_cast<Secrets*>(shared);
  MakeSecret(secrets.session);
  MakeSecret(secrets.page);
  MakeToken(secrets);
  return Console(options, listener, tls.get(), secrets).Watch();
}

}  // namespace web
