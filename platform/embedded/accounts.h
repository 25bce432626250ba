#pragma once

// This machine's users and groups as Windows accounts. Names are UTF-8.

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/embedded/sid.h"

namespace embedded {

struct Account {
  SidBytes sid;
  std::string domain;
  std::string name;
  SID_NAME_USE use;
};

// S-1-5-21-a-b-c-rid of the machine, with even rids from 1000 for users and odd ones for groups.
SidBytes UserSid(uid_t uid);
SidBytes GroupSid(gid_t gid);

// "name", "domain\name" or a domain alone, without case: a well-known account, else a user, else a group.
std::optional<Account> AccountByName(std::string_view name);
std::optional<Account> AccountBySid(PSID sid);

// The names of this machine's groups, the built-in ones first.
std::vector<std::string> LocalGroups();

}  // namespace embedded
