#include "console/web/routes.h"

#include <charconv>

#include "console/help.h"
#include "console/web/acts.h"
#include "console/web/tab.h"
#include "console/web/ui_bundle.h"
#include "platform/machine.h"

using nlohmann::json;
using nlohmann::ordered_json;

namespace web {
namespace {

constexpr size_t kMostRows = 500;

std::uint64_t Number(const Request& request, const char* name, std::uint64_t otherwise) {
  const std::string text = request.Field(name);
  std::uint64_t number = otherwise;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

Response Json(std::string text, int status = 200) { return {status, "application/json", std::move(text)}; }

Response Refused(int status, std::string_view sentence) { return Json(RefusalText(sentence), status); }

ordered_json NodesBelow(Session& session, const std::string& node, size_t first, size_t count) {
  size_t total = 0;
  ordered_json nodes = ordered_json::array();
  for (const Tree::Child& child : session.GetHost().GetTree().Children(node, first, count, total)) {
    nodes.push_back({{"path", child.node.path},
                     {"label", child.label},
                     {"page", child.node.page != nullptr},
                     {"children", child.children}});
  }
  return {{"total", total}, {"first", first}, {"nodes", std::move(nodes)}};
}

// The block of children, as many at once, that `to` stands in or below one of; the first block where it does
// not.
ordered_json NodesOnTheWay(Session& session, const std::string& node, const std::string& to, size_t count) {
  size_t total = 0;
  size_t first = 0;
  for (const Tree::Child& child : session.GetHost().GetTree().Children(node, 0, SIZE_MAX, total)) {
    const std::string& path = child.node.path;
    if (to == path || (child.children > 0 && to.starts_with(path + "::")))
      return NodesBelow(session, node, first / count * count, count);
    ++first;
  }
  return NodesBelow(session, node, 0, count);
}

void AddBundle(std::vector<Route>& routes) {
  for (const UiFile& file : UiFiles()) {
    const auto answer = [&file](const Request&) {
      Response response{200, std::string(file.type), std::string(file.bytes)};
      response.headers.emplace_back("Content-Encoding", "gzip");
      return response;
    };
    routes.push_back({"GET", file.path, answer, false});
  }
}

Response TakeUpload(Session& session, const Request& request) {
  const auto window = static_cast<unsigned>(Number(request, "window", 0));
  const std::uint64_t at = Number(request, "first", 0);
  const std::string tab = request.Field("tab");
  return Json(session.Read([&]() -> ordered_json {
    return {{"refusal", session.AddToUpload(window, tab, at, request.body)}};
  }));
}

Response GiveDownload(Session& session, const Request& request) {
  const std::string id = request.Field("id");
  std::string path;
  session.Read([&]() -> ordered_json {
    path = session.TakeDownload(id);
    return nullptr;
  });
  if (path.empty()) return Refused(404, "There is no such download.");
  Response response{200, "application/octet-stream", {}};
  response.headers.emplace_back("Content-Disposition", "attachment");
  response.file = std::make_shared<OutgoingFile>(path);
  return response;
}

Response ReadTree(Session& session, const Request& request) {
  const std::string node = request.Field("node");
  const size_t first = Number(request, "first", 0);
  const size_t count = std::clamp<size_t>(Number(request, "count", kMostRows), 1, kMostRows);
  const std::string to = request.Field("to");
  return Json(session.Read([&] {
    return to.empty() ? NodesBelow(session, node, first, count) : NodesOnTheWay(session, node, to, count);
  }));
}

Response ReadRows(Session& session, const Request& request) {
  const auto window = static_cast<unsigned>(Number(request, "window", 0));
  const size_t control = Number(request, "control", 0);
  const size_t first = Number(request, "first", 0);
  const size_t count = std::min<size_t>(Number(request, "count", kMostRows), kMostRows);
  const std::string filter = request.Field("filter");
  const std::string sort = request.Field("sort");
  const RowOrder order = sort == "up"     ? RowOrder::Rising
                         : sort == "down" ? RowOrder::Falling
                                          : RowOrder::AsTheyStand;
  return Json(session.Read([&] { return session.RowsOf(window, control, first, count, filter, order); }));
}

Response ReadReview(Session& session, const Request& request) {
  const size_t first = Number(request, "first", 0);
  const size_t count = std::clamp<size_t>(Number(request, "count", kMostRows), 1, kMostRows);
  return Json(session.Read([&] { return session.Review(first, count); }));
}

// All of it at once: a page that is gone to has its help there already.
Response ReadHelp(Session& session, const Request&) {
  return Json(session.Read([] {
    ordered_json all = ordered_json::array();
    for (const PageHelp& help : AllHelp()) all.push_back(HelpJson(help));
    return all;
  }));
}

Response ReadFiles(Session& session, const Request& request) {
  const std::string path = request.Field("path");
  const bool orRoots = request.Has("or_roots");
  std::string list = session.Read([&]() -> ordered_json {
    const FileRoots& files = session.Files();
    ordered_json folder = files.List(path);
    return folder.is_null() && orRoots ? files.List("") : folder;
  });
  if (list == "null") return Refused(404, "There is no such folder among this console's.");
  return Json(std::move(list));
}

Response DoAct(Session& session, const Request& request) {
  std::string why;
  std::optional<PersonsAct> act = ActOf(request.body, why);
  return act ? Json(session.Act(std::move(*act)).text) : Refused(400, why);
}

Response SwitchTo(Session& session, const SwitchHost& switchHost, const Request& request) {
  Host::Options options;
  bool drop = false;
  try {
    const json body = json::parse(request.body);
    options.computer = body.value("computer", "");
    options.configServerMode = body.value("configServer", false);
    drop = body.value("drop", false);
  } catch (const json::exception&) {
    return Refused(400, "The request is no JSON object with these fields.");
  }
  std::string answer = session.Read([&]() -> ordered_json {
    if (session.AsksAnything()) return {{"refusal", "A dialog waits for its answer first."}};
    if (!drop && session.GetHost().HasUnsavedChanges()) return {{"unsaved", true}};
    return ordered_json::object();
  });
  if (answer == "{}") switchHost(options);
  return Json(std::move(answer));
}

}  // namespace

Site MakeSite(Gate& gate, Session& session, SettingsIndex& index, const SwitchHost& switchHost) {
  Site site;
  site.refuse = [&gate](const Request& request) { return gate.Refuse(request); };
  site.always = Gate::Protection();
  site.socketPath = "/api/socket";
  site.openTab = [&session](const Request& request, std::function<void()> wake) {
    return OpenTab(session, request, std::move(wake));
  };
  AddBundle(site.routes);
  const auto state = [&session](const Request&) {
    return Json(session.StateAfter("", 0).value_or(Session::Response{"{}"}).text);
  };
  site.routes.push_back({"GET", "/api/state", state, false});
  const auto add = [&](const char* method, const char* path, Response (*answer)(Session&, const Request&)) {
    site.routes.push_back(
        {method, path, [&session, answer](const Request& request) { return answer(session, request); }});
  };
  add("POST", "/api/act", DoAct);
  add("GET", "/api/tree", ReadTree);
  add("GET", "/api/rows", ReadRows);
  add("GET", "/api/files", ReadFiles);
  add("GET", "/api/review", ReadReview);
  add("GET", "/api/help", ReadHelp);
  add("POST", "/api/upload", TakeUpload);
  add("GET", "/api/download", GiveDownload);
  const auto find = [&session, &index](const Request& request) {
    const std::string text = request.Field("text");
    index.Renew(session.Stored());
    return Json(session.Read([&]() -> ordered_json {
      if (machine::InEvent()) return {{"refusal", "The console is still at work."}};
      if (!request.Has("page")) return index.Find(session.GetHost(), text);
      return index.FindPeople(session.GetHost(), text, Number(request, "page", 0));
    }));
  };
  site.routes.push_back({"GET", "/api/find", find});
  const auto change = [&session, switchHost](const Request& request) {
    return SwitchTo(session, switchHost, request);
  };
  site.routes.push_back({"POST", "/api/switch", change});
  return site;
}

}  // namespace web
