#pragma once

// What stands above the page, each waiting for its answer.

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "window/dialog.h"

namespace web {

struct ModalWindow {
  enum class Kind : unsigned char { Dialog, Message, File, Folder };
  Kind kind = Kind::Dialog;
  CDialog* dialog = nullptr;
  std::string text{};
  Buttons buttons = Buttons::Ok;
  FileRequest request{};
  unsigned number = 0;
  bool answered = false;
  Reply reply = Reply::Cancel;
  std::optional<std::string> path{};
};

// As the browser draws it.
nlohmann::ordered_json DescribeModal(const ModalWindow& window);

// Presses a message's button, or declines where `caption` is empty; a refusal if there is no such button.
std::string AnswerMessage(ModalWindow& window, std::string_view caption);

}  // namespace web
