#include "console/web/tab.h"

#include "console/web/acts.h"

namespace web {
namespace {

class SessionTab final : public Tab {
 public:
  SessionTab(Session& session, const Request& request, std::function<void()> wake)
      : m_session(session), m_name(request.Field("tab")) {
    m_session.Follow(this, std::move(wake));
    if (!m_name.empty()) m_session.Open(m_name, request.Field("node"));
  }
  ~SessionTab() override {
    m_session.Unfollow(this);
    if (!m_name.empty()) m_session.Close(m_name);
  }

  std::string Answer(const std::string& text) override {
    std::string why;
    std::optional<PersonsAct> act = ActOf(text, why);
    if (!act) return RefusalText(why);
    act->tab = m_name;
    Session::Response response = m_session.Act(std::move(*act));
    m_told = response.version;
    return std::move(response.text);
  }

  std::optional<std::string> News() override {
    std::optional<Session::Response> state = m_session.StateAfter(m_name, m_told);
    if (!state) return std::nullopt;
    m_told = state->version;
    return std::move(state->text);
  }

 private:
  Session& m_session;
  std::string m_name;  // empty for one that shares what all without a name see
  std::uint64_t m_told = 0;
};

}  // namespace

std::unique_ptr<Tab> OpenTab(Session& session, const Request& request, std::function<void()> wake) {
  return std::make_unique<SessionTab>(session, request, std::move(wake));
}

}  // namespace web
