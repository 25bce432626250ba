#include "console/web/routes.h"

#include <charconv>
#include <filesystem>
#include <fstream>

#include "console/help.h"
#include "console/web/acts.h"
#include "console/web/tab.h"
#include "console/web/ui_bundle.h"

using httplib::Request;
using httplib::Response;
using nlohmann::json;
using nlohmann::ordered_json;

namespace web {
namespace {

constexpr size_t kMostRows = 500;
constexpr size_t kMostFound = 60;
constexpr char kJson[] = "application/json";

std::uint64_t Number(const Request& request, const char* name, std::uint64_t otherwise) {
  const std::string text = request.get_param_value(name);
  std::uint64_t number = otherwise;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

void Refuse(Response& response, int status, std::string_view sentence) {
  response.status = status;
  response.set_content(RefusalText(sentence), kJson);
}

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

void AddBundle(Server& server) {
  for (const UiFile& file : UiFiles()) {
    server.Get(file.path, [&file](const Request&, Response& response) {
      response.set_header("Content-Encoding", "gzip");
      response.set_content(std::string(file.bytes), std::string(file.type));
    });
  }
}

// The file goes out piece by piece, and is gone from the disk before the first one.
void SendAway(const std::string& path, Response& response) {
  static constexpr size_t kPiece = 1 << 16;
  const auto file = std::make_shared<std::ifstream>(path, std::ios::binary | std::ios::ate);
  const auto size = static_cast<size_t>(std::max<std::streamoff>(file->tellg(), 0));
  std::error_code ignored;
  std::filesystem::remove_all(std::filesystem::path(path).parent_path(), ignored);
  response.set_header("Content-Disposition", "attachment");
  response.set_content_provider(size, "application/octet-stream",
                                [file](size_t at, size_t length, httplib::DataSink& sink) {
                                  std::string piece(std::min(length, kPiece), '\0');
                                  file->seekg(static_cast<std::streamoff>(at));
                                  file->read(piece.data(), static_cast<std::streamsize>(piece.size()));
                                  return *file && sink.write(piece.data(), piece.size());
                                });
}

void AddTransfers(Server& server, Session& session) {
  server.Post("/api/upload", [&session](const Request& request, Response& response) {
    const auto window = static_cast<unsigned>(Number(request, "window", 0));
    const std::uint64_t at = Number(request, "first", 0);
    const std::string tab = request.get_param_value("tab");
    response.set_content(session.Read([&]() -> ordered_json {
      return {{"refusal", session.AddToUpload(window, tab, at, request.body)}};
    }),
                         kJson);
  });
  server.Get("/api/download", [&session](const Request& request, Response& response) {
    const std::string id = request.get_param_value("id");
    std::string path;
    session.Read([&]() -> ordered_json {
      path = session.TakeDownload(id);
      return nullptr;
    });
    if (path.empty()) return Refuse(response, 404, "There is no such download.");
    SendAway(path, response);
  });
}

void AddReads(Server& server, Session& session, SettingsIndex& index) {
  server.Get("/api/tree", [&session](const Request& request, Response& response) {
    const std::string node = request.get_param_value("node");
    const size_t first = Number(request, "first", 0);
    const size_t count = std::clamp<size_t>(Number(request, "count", kMostRows), 1, kMostRows);
    const std::string to = request.get_param_value("to");
    response.set_content(session.Read([&] {
      return to.empty() ? NodesBelow(session, node, first, count) : NodesOnTheWay(session, node, to, count);
    }),
                         kJson);
  });
  server.Get("/api/rows", [&session](const Request& request, Response& response) {
    const auto window = static_cast<unsigned>(Number(request, "window", 0));
    const size_t control = Number(request, "control", 0);
    const size_t first = Number(request, "first", 0);
    const size_t count = std::min(Number(request, "count", kMostRows), kMostRows);
    const std::string filter = request.get_param_value("filter");
    response.set_content(session.Read([&] { return session.RowsOf(window, control, first, count, filter); }),
                         kJson);
  });
  server.Get("/api/review", [&session](const Request& request, Response& response) {
    const size_t first = Number(request, "first", 0);
    const size_t count = std::clamp<size_t>(Number(request, "count", kMostRows), 1, kMostRows);
    response.set_content(session.Read([&] { return session.Review(first, count); }), kJson);
  });
  server.Get("/api/help", [&session](const Request& request, Response& response) {
    const std::string node = request.get_param_value("node");
    const std::string dialog = request.get_param_value("dialog");
    response.set_content(session.Read([&]() -> ordered_json {
      const PageHelp* const help = HelpOf(session.GetHost().GetTree(), node, dialog);
      return help == nullptr ? ordered_json(nullptr) : HelpJson(*help);
    }),
                         kJson);
  });
  server.Get("/api/find", [&session, &index](const Request& request, Response& response) {
    const std::string text = request.get_param_value("text");
    response.set_content(session.Read([&] { return index.Find(session.GetHost(), text, kMostFound); }),
                         kJson);
  });
  server.Get("/api/files", [&session](const Request& request, Response& response) {
    const std::string path = request.get_param_value("path");
    const bool orRoots = request.has_param("or_roots");
    const std::string list = session.Read([&]() -> ordered_json {
      const FileRoots& files = session.Files();
      ordered_json folder = files.List(path);
      return folder.is_null() && orRoots ? files.List("") : folder;
    });
    if (list == "null") return Refuse(response, 404, "There is no such folder among this console's.");
    response.set_content(list, kJson);
  });
}

}  // namespace

void AddRoutes(Server& server, Gate& gate, Session& session, SettingsIndex& index,
               const SwitchHost& switchHost) {
  server.set_default_headers(Gate::Protection());
  server.set_pre_routing_handler([&gate](const Request& request, Response& response) {
    if (gate.Admit(request, response)) return httplib::Server::HandlerResponse::Unhandled;
    return httplib::Server::HandlerResponse::Handled;
  });
  AddBundle(server);
  AddTransfers(server, session);
  AddReads(server, session, index);

  server.OnSocket("/api/socket", [&session](WebSocket& socket) { ServeTab(session, socket); });
  server.Get("/api/state", [&session](const Request&, Response& response) {
    response.set_content(session.StateAfter(0).value_or(Session::Response{"{}"}).text, kJson);
  });
  server.Post("/api/act", [&session](const Request& request, Response& response) {
    std::string why;
    std::optional<PersonsAct> act = ActOf(request.body, why);
    if (!act) return Refuse(response, 400, why);
    response.set_content(session.Act(std::move(*act)).text, kJson);
  });
  server.Post("/api/switch", [&session, switchHost](const Request& request, Response& response) {
    Host::Options options;
    bool drop = false;
    try {
      const json body = json::parse(request.body);
      options.computer = body.value("computer", "");
      options.configServerMode = body.value("configServer", false);
      drop = body.value("drop", false);
    } catch (const json::exception&) {
      return Refuse(response, 400, "The request is no JSON object with these fields.");
    }
    const std::string answer = session.Read([&]() -> ordered_json {
      if (session.AsksAnything()) return {{"refusal", "A dialog waits for its answer first."}};
      if (!drop && session.GetHost().HasUnsavedChanges()) return {{"unsaved", true}};
      return ordered_json::object();
    });
    response.set_content(answer, kJson);
    if (answer == "{}") switchHost(options);
  });
}

}  // namespace web
