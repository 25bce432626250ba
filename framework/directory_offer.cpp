#include "framework/directory_offer.h"

#include "store/directories.h"
#include "window/front_end.h"

void OfferDirectory(const DirectoryOffer& offer) {
  const CString seen = ReachedFrom(offer.computer, offer.directory);
  if (DirectoryExists(seen)) return;
  const CString& named = offer.typed != nullptr ? *offer.typed : offer.directory;
  CString question = "Directory " + named + " does not exist.  Create it?";
  if (!offer.alsoSaid.empty()) question.append("\r\n").append(offer.alsoSaid);
  if (AfxMessageBox(question, Buttons::YesNo) != Reply::Yes) return;
  SECURITY_ATTRIBUTES security{sizeof security, offer.descriptor, FALSE};
  const CString& made = offer.madeAsTyped ? named : seen;
  if (!CreateDirectoryA(made.c_str(), offer.descriptor != nullptr ? &security : nullptr)) {
    AfxMessageBox("Unable to create directory " + named + ".");
  }
}
