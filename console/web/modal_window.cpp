#include "console/web/modal_window.h"

#include <algorithm>

#include "console/web/describe_window.h"

using nlohmann::ordered_json;

namespace web {
namespace {

struct NamedReply {
  std::string_view name;
  Reply reply;
};

// The buttons of a message box; the last one declines.
std::vector<NamedReply> RepliesOf(Buttons buttons) {
  switch (buttons) {
    case Buttons::Ok:
      return {{"OK", Reply::Ok}};
    case Buttons::OkCancel:
      return {{"OK", Reply::Ok}, {"Cancel", Reply::Cancel}};
    case Buttons::YesNoCancel:
      return {{"Yes", Reply::Yes}, {"No", Reply::No}, {"Cancel", Reply::Cancel}};
    case Buttons::YesNo:
      return {{"Yes", Reply::Yes}, {"No", Reply::No}};
  }
  return {};
}

}  // namespace

ordered_json DescribeModal(const ModalWindow& window) {
  ordered_json json{{"window", window.number}};
  switch (window.kind) {
    case ModalWindow::Kind::Dialog:
      json["kind"] = "dialog";
      json["caption"] = window.dialog->Caption();
      json["controls"] = DescribeWindow(*window.dialog);
      break;
    case ModalWindow::Kind::Message:
      json["kind"] = "message";
      json["text"] = window.text;
      json["buttons"] = ordered_json::array();
      for (const NamedReply& reply : RepliesOf(window.buttons)) json["buttons"].push_back(reply.name);
      break;
    case ModalWindow::Kind::File:
      json["kind"] = "file";
      json["save"] = window.request.save;
      json["overwritePrompt"] = window.request.overwritePrompt;
      json["fileName"] = window.request.fileName;
      json["filter"] = window.request.filter;
      json["transfer"] = window.request.contentsOnly;
      break;
    case ModalWindow::Kind::Folder:
      json["kind"] = "folder";
      json["fileName"] = window.request.fileName;
      json["text"] = window.text;
      break;
  }
  return json;
}

std::string AnswerMessage(ModalWindow& window, std::string_view caption) {
  const std::vector<NamedReply> replies = RepliesOf(window.buttons);
  auto reply = std::prev(replies.end());
  if (!caption.empty()) {
    reply = std::find_if(replies.begin(), replies.end(),
                         [caption](const NamedReply& own) { return own.name == caption; });
    if (reply == replies.end()) return "The message has no such button.";
  }
  window.reply = reply->reply;
  window.answered = true;
  return {};
}

}  // namespace web
