#pragma once

// What one tab of the browser does and is told over its web socket.

#include "console/web/server.h"
#include "console/web/session.h"

namespace web {

// Each text is an act, and the news are the state whenever it is another one. The session outlives the tab.
std::unique_ptr<Tab> OpenTab(Session& session, const Request& request, std::function<void()> wake);

}  // namespace web
