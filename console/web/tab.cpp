#include "console/web/tab.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include "console/web/acts.h"

namespace web {
namespace {

// A file that can be read once there is a new state.
class NewState {
 public:
  explicit NewState(Session& session) : m_session(session) { m_session.Follow(m_file); }
  ~NewState() {
    m_session.Unfollow(m_file);
    close(m_file);
  }
  NewState(const NewState&) = delete;
  NewState& operator=(const NewState&) = delete;

  int File() const { return m_file; }
  void Clear() const {
    eventfd_t count = 0;
    eventfd_read(m_file, &count);
  }

 private:
  Session& m_session;
  int m_file = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
};

}  // namespace

void ServeTab(Session& session, WebSocket& socket) {
  const NewState newState(session);
  std::uint64_t told = 0;
  do {
    newState.Clear();
    while (const std::optional<std::string> text = socket.TakeText()) {
      std::string why;
      std::optional<PersonsAct> act = ActOf(*text, why);
      const Session::Response response =
          act ? session.Act(std::move(*act)) : Session::Response{RefusalText(why)};
      if (!socket.Send(response.text)) return;
      if (act) told = response.version;
    }
    const std::optional<Session::Response> state = session.StateAfter(told);
    if (!state) continue;
    if (!socket.Send(state->text)) return;
    told = state->version;
  } while (socket.Wait(newState.File()));
}

}  // namespace web
