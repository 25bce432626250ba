#pragma once

// The LMDB environment of a home, opened without trusting what lies in its folder.

#include <lmdb.h>

#include <array>
#include <memory>
#include <string>

#include "platform/embedded/store.h"

namespace embedded {

struct CloseEnvironment {
  void operator()(MDB_env* env) const { mdb_env_close(env); }
};

struct Environment {
  std::unique_ptr<MDB_env, CloseEnvironment> env;
  std::array<MDB_dbi, kTables> tables{};
  bool unlocked = false;  // Others cannot know that this process reads.
  bool sums = true;  // Each entry carries a checksum: always, but for an older store that can't be written.
  std::string file;
};

// Opens the environment in `folder`; with `create`, an empty folder, its tables are made. Who may only read
// the folder's files gets an environment whose write transactions fail with EACCES. Fails with one sentence
// on a file that is damaged, short, or of another kind, and then has changed nothing.
machine::Outcome OpenEnvironment(const std::string& folder, bool create, Environment& result);

// Whether the store in `file` has a head from which LMDB can find the rest.
bool HeadIsSound(const std::string& file);
// Whether all pages of a state of the store are there and in order. LMDB maps the file and trusts it: reading
// beyond its end would end in a bus error, and a page of zeros looks like an empty one. A state is gone once
// two others were committed after it; its pages stay as they are while a transaction reads it.
enum class PagesState : unsigned char { Sound, Damaged, Gone };
PagesState CheckPages(const std::string& file, size_t transaction);
// The same of the newest state, in a file that nobody writes.
bool PagesAreSound(const std::string& file);
// Whether each entry of an environment that is not in use has the checksum that it should have.
bool EntriesAreSound(const Environment& environment);

// Puts the environment to use for Reading and Writing, or takes it out of use: an event is abandoned. The
// caller checks that none is in use already.
machine::Outcome UseEnvironment(Environment environment);
void CloseEnvironmentInUse();
bool EnvironmentInUse();

// Opens the default home, which an operation does that finds no environment in use.
LONG OpenDefaultHome();

// Makes deleted ones of the handles of keys from that identifier on, which were made in an abandoned event.
void LoseKeys(KeyId from);

// Removes the folder when the open write transaction counts, and never if it doesn't.
void RemoveAtCommit(std::string folder);

}  // namespace embedded
