#include "krpbus/address/ksl_config_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <optional>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/sax2/DefaultHandler.hpp>
#include <xercesc/sax2/SAX2XMLReader.hpp>
#include <xercesc/sax2/XMLReaderFactory.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/SecurityManager.hpp>
#include <xercesc/util/TransService.hpp>
#include <xercesc/util/XMLUni.hpp>

namespace {

/// A configuration is a few lines; something this large is none.
constexpr off_t kLargestFile = 1 << 20;
/// More entities than this within the file are an attack on the memory.
constexpr XMLSize_t kMostEntities = 1000;

std::string utf8(const XMLCh* text) {
    const xercesc::TranscodeToStr transcoded(text, "UTF-8");
    return std::string(reinterpret_cast<const char*>(transcoded.str()), transcoded.length());
}

std::string trimmed(const std::string& text) {
    constexpr const char* kBlanks = " \t\r\n";
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

bool isTrue(const std::string& text) {
    return text == "true" || text == "1";
}

/// The content of a regular file of reasonable size. Opened without waiting and looked at
/// afterwards, so that neither a pipe nor a device can hold the caller.
std::optional<std::string> readRegularFile(const std::string& path) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) {
        return std::nullopt;
    }
    struct stat status {};
    std::string content;
    bool good =
        fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && status.st_size <= kLargestFile;
    std::array<char, 4096> part{};
    while (good) {
        const ssize_t got = read(fd, part.data(), part.size());
        if (got == 0) {
            break;
        }
        good = got > 0 || errno == EINTR;
        if (got > 0) {
            content.append(part.data(), static_cast<std::size_t>(got));
        }
    }
    close(fd);
    return good ? std::optional(std::move(content)) : std::nullopt;
}

/// Collects the texts of the elements directly below <ksl>.
class KslHandler : public xercesc::DefaultHandler {
  public:
    void startElement(const XMLCh*, const XMLCh* localName, const XMLCh*,
                      const xercesc::Attributes&) override {
        ++depth_;
        const std::string element = utf8(localName);
        if (depth_ == 1) {
            isKsl = element == "ksl";
        }
        if (depth_ == 2) {
            current_ = element;
            text_.clear();
        }
    }

    void endElement(const XMLCh*, const XMLCh*, const XMLCh*) override {
        if (depth_ == 2) {
            store(current_, trimmed(text_));
        }
        --depth_;
    }

    void characters(const XMLCh* text, XMLSize_t) override {
        if (depth_ == 2) {
            text_ += utf8(text);
        }
    }

    /// Whatever a file refers to outside of itself is empty: nothing else is ever opened.
    xercesc::InputSource* resolveEntity(const XMLCh*, const XMLCh* systemId) override {
        static constexpr XMLByte kNothing[] = {' '};
        return new xercesc::MemBufInputSource(kNothing, 0, systemId);
    }

    void error(const xercesc::SAXParseException& problem) override { throw problem; }
    void fatalError(const xercesc::SAXParseException& problem) override { throw problem; }

    bool isKsl = false;
    std::string name;
    bool enabled = false;
    bool active = false;

  private:
    void store(const std::string& element, const std::string& text) {
        if (element == "name") {
            name = text;
        } else if (element == "enabled") {
            enabled = isTrue(text);
        } else if (element == "active") {
            active = isTrue(text);
        }
    }

    int depth_ = 0;
    std::string current_;  // the element below <ksl> that we are in
    std::string text_;
};

/// The XML library wants to be set up before its first use. It stays so until the process ends,
/// since other threads may use it then.
void setUpParser() {
    static std::once_flag once;
    std::call_once(once, [] { xercesc::XMLPlatformUtils::Initialize(); });
}

/// Throws whatever the library throws when the content is not well-formed.
void parse(const std::string& content, KslHandler& handler) {
    const std::unique_ptr<xercesc::SAX2XMLReader> reader(
        xercesc::XMLReaderFactory::createXMLReader());
    xercesc::SecurityManager limits;
    limits.setEntityExpansionLimit(kMostEntities);
    reader->setProperty(xercesc::XMLUni::fgXercesSecurityManager, &limits);
    reader->setFeature(xercesc::XMLUni::fgSAX2CoreValidation, false);
    reader->setFeature(xercesc::XMLUni::fgXercesLoadExternalDTD, false);
    reader->setFeature(xercesc::XMLUni::fgXercesDisableDefaultEntityResolution, true);
    reader->setContentHandler(&handler);
    reader->setErrorHandler(&handler);
    reader->setEntityResolver(&handler);
    const xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(content.data()),
                                            content.size(), "network.xml");
    reader->parse(source);
}

}  // namespace

std::string KSLConfigFile::defaultPath() {
    const char* const configured = std::getenv("KSL_CONFIG_FILE");
    return configured != nullptr && *configured != '\0' ? configured
                                                        : "/var/opt/sandorvale/etc/ksl/network.xml";
}

KSLConfigFile::KSLConfigFile() : KSLConfigFile(defaultPath()) {}

KSLConfigFile::KSLConfigFile(const std::string& path) {
    readFile(path);
}

void KSLConfigFile::readFile(const std::string& path) {
    const auto content = readRegularFile(path);
    if (!content) {
        return;
    }
    try {
        setUpParser();
        KslHandler handler;
        parse(*content, handler);
        if (handler.isKsl) {
            readable_ = true;
            networkName_ = std::move(handler.name);
            enabled_ = handler.enabled;
            active_ = handler.active;
        }
    } catch (...) {
        // The library throws types without a common base. None of them is more than "not readable".
        readable_ = false;
    }
}
