#pragma once

// The JSON interface and the page that uses it.

#include "console/web/gate.h"
#include "console/web/server.h"
#include "console/web/session.h"
#include "console/web/settings_index.h"

namespace web {

// Which host is to be served next.
using SwitchHost = std::function<void(const Host::Options&)>;

// All of it; what is given outlives the site.
Site MakeSite(Gate& gate, Session& session, SettingsIndex& index, const SwitchHost& switchHost);

}  // namespace web
