// `certificate`: the machine's store "MY", and that of the certificates that the server trusts.

#include "store/certificates.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>

#include "console/certificate_words.h"
#include "console/cli/keys.h"
#include "console/cli/wrong_use.h"
#include "console/computer.h"
#include "platform/certificate_files.h"
#include "platform/machine.h"

namespace {

struct Words {
  std::string file;
  std::string thumbprint;
  std::string store = "my";
  std::string passwordFile;
};

constexpr size_t kLargestFile = 1 << 22;

UniqueCertificateStore Open(const Words& words, const std::string& computer) {
  bool made = false;
  return words.store == "my" ? OpenMachineStore(computer) : OpenTrustedStore(made);
}

enum class Keeps : bool { Nothing, Changes };

// Runs with the open store, and keeps what it has done if that was all. To open a store may make its key.
template <class Work>
Outcome WithStore(const Settings& settings, const Words& words, Keeps keeps, Work work) {
  const ActingOn computer(settings.host.computer);
  if (!computer.Why().empty()) return Failed(computer.Why());
  if (words.store != "my" && !computer.Name().empty())
    return Failed("The certificates that the server trusts are those of the computer that this runs on.");
  machine::BeginEvent();
  Outcome outcome;
  {
    const UniqueCertificateStore store = Open(words, computer.Name());
    outcome = store ? work(store.get())
                    : Failed("The certificates can't be opened: " + SystemText(GetLastError()) + ".");
  }
  if (outcome.status != Status::Done || keeps == Keeps::Nothing) {
    machine::AbandonEvent();
    return outcome;
  }
  const machine::Outcome committed = machine::CommitEvent();
  return committed ? outcome : Failed(committed.sentence);
}

std::string Line(const CertificateView& view) {
  return view.thumbprint + "  " + view.subject + "  by " + view.issuer + "  until " + view.notAfter +
         (view.expired ? " (not valid now)" : "") +
         (view.friendlyName.empty() ? "" : "  \"" + view.friendlyName + "\"") + "\n";
}

nlohmann::ordered_json Json(const CertificateView& view) {
  return {
      {"thumbprint", view.thumbprint}, {"subject", view.subject},     {"issuer", view.issuer},
      {"notBefore", view.notBefore},   {"notAfter", view.notAfter},   {"expired", view.expired},
      {"usages", view.usages},         {"keyUsages", view.keyUsages}, {"friendlyName", view.friendlyName}};
}

std::string ReadAll(std::istream& input) {
  std::string bytes;
  for (char piece[4096];
       bytes.size() <= kLargestFile && (input.read(piece, sizeof piece), input.gcount() > 0);)
    bytes.append(piece, static_cast<size_t>(input.gcount()));
  return bytes;
}

std::string PasswordOf(const Words& words) {
  if (words.passwordFile.empty()) return {};
  std::ifstream file(words.passwordFile);
  std::string line;
  std::getline(words.passwordFile == "-" ? std::cin : file, line);
  return line;
}

Outcome Add(const Settings& settings, const Words& words) {
  std::error_code ignored;
  if (std::filesystem::is_directory(words.file, ignored))
    return Failed("\"" + words.file + "\" is a folder, not a file of certificates.");
  errno = 0;
  std::ifstream file(words.file, std::ios::binary);
  if (!file) return CantBeRead(words.file);
  const FileOfCertificates read = CertificatesIn(ReadAll(file), PasswordOf(words));
  if (read.certificates.empty())
    return Failed("The file \"" + words.file +
                  "\" holds no certificate, or one behind a password: see --password-file.");
  return WithStore(settings, words, Keeps::Changes, [&](HCERTSTORE store) {
    Outcome outcome;
    outcome.data = nlohmann::ordered_json::array();
    for (const std::string& encoded : read.certificates) {
      const UniqueCertificate certificate(
          CertCreateCertificateContext(X509_ASN_ENCODING, reinterpret_cast<const BYTE*>(encoded.data()),
                                       static_cast<DWORD>(encoded.size())));
      if (!certificate || !CertAddCertificateContextToStore(store, certificate.get(),
                                                            CERT_STORE_ADD_REPLACE_EXISTING, nullptr)) {
        return Failed("A certificate can't be added: " + SystemText(GetLastError()) + ".");
      }
      const CertificateView view = Describe(*certificate);
      outcome.text += Line(view);
      outcome.data.push_back(Json(view));
    }
    if (read.privateKey) {
      outcome.warnings.push_back("The private key in \"" + words.file +
                                 "\" was left out: on Windows \"certutil -importpfx\" takes it, too.");
    }
    return outcome;
  });
}

Outcome List(const Settings& settings, const Words& words) {
  return WithStore(settings, words, Keeps::Nothing, [](HCERTSTORE store) {
    Outcome outcome;
    outcome.data = nlohmann::ordered_json::array();
    for (const UniqueCertificate& certificate : CertificatesOf(store)) {
      const CertificateView view = Describe(*certificate);
      outcome.text += Line(view);
      outcome.data.push_back(Json(view));
    }
    return outcome;
  });
}

// The one certificate whose thumbprint begins so; else `why`.
UniqueCertificate Find(HCERTSTORE store, const std::string& thumbprint, std::string& why) {
  const std::string wanted = text::Replaced(thumbprint, ":", "");
  UniqueCertificate found;
  for (UniqueCertificate& certificate : CertificatesOf(store)) {
    const std::string own = text::Replaced(Describe(*certificate).thumbprint, ":", "");
    if (wanted.empty() || !text::EqualNoCase(own.substr(0, wanted.size()), wanted)) continue;
    if (found) {
      why = "More than one certificate's thumbprint begins with \"" + thumbprint + "\".";
      return nullptr;
    }
    found = std::move(certificate);
  }
  if (!found) why = "There is no certificate with the thumbprint \"" + thumbprint + "\".";
  return found;
}

Outcome Show(const Settings& settings, const Words& words) {
  return WithStore(settings, words, Keeps::Nothing, [&words](HCERTSTORE store) {
    std::string why;
    const UniqueCertificate certificate = Find(store, words.thumbprint, why);
    if (!certificate) return Failed(why);
    const CertificateView view = Describe(*certificate);
    Outcome outcome;
    outcome.data = Json(view);
    outcome.text = "Issued to:   " + view.subject + "\nIssued by:   " + view.issuer +
                   "\nValid:       " + ValidityOf(view) + "\nThumbprint:  " + view.thumbprint +
                   "\nFor:         " + UsesOf(view) + "\nKey usage:   " + KeyUsesOf(view) +
                   "\nName:        " + view.friendlyName + "\n";
    return outcome;
  });
}

Outcome Remove(const Settings& settings, const Words& words) {
  return WithStore(settings, words, Keeps::Changes, [&words](HCERTSTORE store) {
    std::string why;
    UniqueCertificate certificate = Find(store, words.thumbprint, why);
    if (!certificate) return Failed(why);
    Outcome outcome;
    outcome.text = "Removed: " + Line(Describe(*certificate));
    if (!CertDeleteCertificateFromStore(certificate.release()))
      return Failed("The certificate can't be removed: " + SystemText(GetLastError()) + ".");
    return outcome;
  });
}

}  // namespace

void AddCertificateCommands(CLI::App& app, const Settings& settings, const AddCommand& add) {
  const auto words = std::make_shared<Words>();
  CLI::App* const group =
      app.add_subcommand("certificate", "The machine's certificates, and those that are trusted");
  group->require_subcommand(1);
  const auto command = [&](const char* name, const char* help,
                           Outcome (*work)(const Settings&, const Words&)) -> CLI::App* {
    CLI::App* const made =
        add(*group, name, help, [&settings, words, work] { return work(settings, *words); });
    made->add_option("--store", words->store,
                     "my, the machine's own; or trusted, those that clients' are checked with")
        ->check(OneOfWords({"my", "trusted"}));
    return made;
  };
  CLI::App* one =
      command("add", "Add those of a file: PEM, DER, PKCS #7 or PKCS #12; private keys are left out", Add);
  one->add_option("FILE", words->file)->required();
  one->add_option("--password-file", words->passwordFile,
                  "The file whose first line is the password; '-' reads it")
      ->type_name("FILE");
  command("list", "Thumbprints, names and days", List);
  command("show", "One of them", Show)->add_option("THUMBPRINT", words->thumbprint)->required();
  command("remove", "Remove one of them", Remove)->add_option("THUMBPRINT", words->thumbprint)->required();
}
