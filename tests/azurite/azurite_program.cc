#include "tests/azurite/azurite_program.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "tests/support/base64.h"

namespace azurite {

namespace {

constexpr const char *kProgram = AZURITE_FOLDER "/node_modules/azurite/dist/src/blob/main.js";
constexpr const char *kAccount = "kelvane";
constexpr const char *kKey = "an account key of the tests' own";
constexpr const char *kSignatureVersion = "2018-11-09";
constexpr const char *kNever = "2099-12-31T00:00:00Z";

// For a query: base64 and times have no other characters that need it.
std::string escaped(const std::string &text) {
  std::string out;
  for (const char one : text) {
    out += one == '+' ? "%2B" : one == '/' ? "%2F" : one == '=' ? "%3D" : one == ':' ? "%3A" : std::string(1, one);
  }
  return out;
}

std::string signature(const std::string &text) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned length = 0;
  const std::string key = kKey;
  HMAC(EVP_sha256(), key.data(), static_cast<int>(key.size()), reinterpret_cast<const unsigned char *>(text.data()),
       text.size(), digest, &length);
  return escaped(support::base64(std::string(reinterpret_cast<char *>(digest), length)));
}

// The value of a header, without its line end; empty when there is none.
std::string header(const std::string &head, const std::string &name) {
  std::istringstream lines(head);
  for (std::string line; std::getline(lines, line);) {
    if (line.compare(0, name.size() + 2, name + ": ") == 0) {
      return line.substr(name.size() + 2, line.find('\r') - name.size() - 2);
    }
  }
  return "";
}

}  // namespace

std::string Azurite::missing() {
  const std::string reason = AZURITE_FOLDER "/missing";
  if (support::exists(reason)) {
    return support::read_file(reason);
  }
  return support::exists(kProgram) ? "" : "azurite is not installed: the test azurite.install does that";
}

Azurite::Azurite() {
  start();
  try {
    await_port();
    const std::string query = "?restype=container&" + account_query();
    expect_done("PUT", std::string(kPrivate) + query, {});
    expect_done("PUT", std::string(kPublic) + query, {"x-ms-blob-public-access: blob"});
  } catch (...) {
    end();
    throw;
  }
}

Azurite::~Azurite() {
  end();
}

void Azurite::start() {
  const std::string output = folder_.file("output");
  const std::string accounts = std::string(kAccount) + ":" + support::base64(kKey);
  support::write_file(output, "");
  pid_ = fork();
  if (pid_ != 0) {
    return;
  }
  prctl(PR_SET_PDEATHSIG, SIGTERM);  // a test that breaks off leaves no service behind
  const int fd = open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  dup2(fd, 1);
  dup2(fd, 2);
  setenv("AZURITE_ACCOUNTS", accounts.c_str(), 1);
  if (chdir(folder_.path().c_str()) == 0) {
    execlp("node", "node", kProgram, "--blobHost", "127.0.0.1", "--blobPort", "0", "--inMemoryPersistence",
           "--extentMemoryLimit", "256", "--disableTelemetry", static_cast<char *>(nullptr));
  }
  _exit(127);
}

// It says where it listens: "... successfully listens on http://127.0.0.1:PORT".
void Azurite::await_port() {
  const std::string words = "successfully listens on ";
  for (int tries = 0; tries < 1200; tries++) {
    const std::string output = support::read_file(folder_.file("output"));
    const size_t at = output.find(words);
    const size_t end = at == std::string::npos ? at : output.find('\n', at);
    if (end != std::string::npos) {
      origin_ = output.substr(at + words.size(), end - at - words.size());
      return;
    }
    if (waitpid(pid_, nullptr, WNOHANG) == pid_) {
      pid_ = -1;
      throw std::runtime_error("azurite ended at once: " + output);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  throw std::runtime_error("azurite does not listen: " + support::read_file(folder_.file("output")));
}

void Azurite::end() {
  if (pid_ <= 0) {
    return;
  }
  kill(pid_, SIGTERM);
  for (int tries = 0; tries < 200; tries++) {
    if (waitpid(pid_, nullptr, WNOHANG) == pid_) {
      pid_ = -1;
      return;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
  pid_ = -1;
}

std::string Azurite::address(const std::string &blob) const {
  return origin_ + "/" + kAccount + "/" + blob;
}

std::string Azurite::signed_address(const std::string &blob, const Grant &grant) const {
  const std::string resource =
      std::string("/blob/") + kAccount + "/" + (grant.signed_for.empty() ? blob : grant.signed_for);
  // permissions, start, expiry, resource, identifier, addresses, protocol, version, kind, snapshot, five headers
  const std::string text =
      grant.permissions + "\n\n" + grant.expiry + "\n" + resource + "\n\n\n\n" + kSignatureVersion + "\nb\n\n\n\n\n\n";
  return address(blob) + "?sv=" + kSignatureVersion + "&sr=b&se=" + escaped(grant.expiry) + "&sp=" + grant.permissions +
         "&sig=" + signature(text);
}

std::string Azurite::account_query() const {
  // account, permissions, services, kinds, start, expiry, addresses, protocol, version
  const std::string text =
      std::string(kAccount) + "\nrwdlac\nb\nsco\n\n" + kNever + "\n\n\n" + kSignatureVersion + "\n";
  return std::string("sv=") + kSignatureVersion + "&ss=b&srt=sco&se=" + escaped(kNever) +
         "&sp=rwdlac&sig=" + signature(text);
}

Answer Azurite::request(const std::string &method, const std::string &address, const std::vector<std::string> &headers,
                        const std::string &body) const {
  const std::string head = folder_.file("head");
  std::vector<std::string> words = {"curl", "-sS", "--noproxy", "*", "--max-time", "60", "-X", method, "-D", head};
  for (const std::string &line : headers) {
    words.insert(words.end(), {"-H", line});
  }
  if (method == "PUT") {
    words.insert(words.end(), {"-H", "Expect:", "--data-binary", "@-"});
  }
  words.push_back(address);
  const support::CommandResult ran = support::run_command(words, body);
  if (ran.status != 0) {
    throw std::runtime_error("curl: " + ran.err);
  }
  const std::string lines = support::read_file(head);
  return {std::stoi(lines.substr(lines.find(' ') + 1)), header(lines, "x-ms-error-code"),
          header(lines, "x-ms-blob-type"), ran.out};
}

void Azurite::expect_done(const std::string &method, const std::string &path, const std::vector<std::string> &headers,
                          const std::string &body) const {
  const Answer answer = request(method, address(path), headers, body);
  if (answer.status / 100 != 2) {
    throw std::runtime_error(method + " " + path + ": " + std::to_string(answer.status) + " " + answer.body);
  }
}

Answer Azurite::get(const std::string &blob) const {
  return request("GET", address(blob) + "?" + account_query());
}

Answer Azurite::get_anonymously(const std::string &blob) const {
  return request("GET", address(blob));
}

void Azurite::put_block_blob(const std::string &blob, const std::string &bytes) const {
  expect_done("PUT", blob + "?" + account_query(), {"x-ms-blob-type: BlockBlob"}, bytes);
}

void Azurite::put_page_blob(const std::string &blob, size_t size) const {
  expect_done("PUT", blob + "?" + account_query(),
              {"x-ms-blob-type: PageBlob", "x-ms-blob-content-length: " + std::to_string(size)});
}

void Azurite::put_append_blob(const std::string &blob) const {
  expect_done("PUT", blob + "?" + account_query(), {"x-ms-blob-type: AppendBlob"});
}

void Azurite::remove(const std::string &blob) const {
  expect_done("DELETE", blob + "?" + account_query(), {});
}

}  // namespace azurite
