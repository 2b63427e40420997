#include "app/command/Grammars.h"
#include "app/command/RunCommand.h"
#include "optical/DriveMap.h"
#include "platform/Paths.h"

namespace tovlark {

namespace {

/// Gathers what is wrong with one request.
class Checker {
public:
    explicit Checker(const CommandRequest& request) : request_(request) {}

    void given(RequestField field, const Text& value, TextId text, TextId advice = TextId::Count,
               TextView adviceArgument = {}) {
        if (value.empty()) add(field, text, advice, adviceArgument);
    }
    void drive(RequestField field, const Text& value, TextId text) {
        if (!ParseDrive(value)) add(field, text, TextId::DriveWord, value);
    }
    void image() { given(RequestField::Source, request_.source, TextId::SpecifyImageFile); }
    void burner() { drive(RequestField::Target, request_.target, TextId::SpecifyBurner); }
    void output() {
        given(RequestField::OutputFile, request_.outputFile, TextId::SpecifyOutputFile, TextId::SwitchMissing, u"-o");
    }
    void extractFolder() {
        given(RequestField::OutputFolder, request_.outputFolder, TextId::SpecifyExtractFolder, TextId::SwitchMissing,
              u"-od");
    }

    void usbDrive() {
        if (request_.target.empty())
            add(RequestField::Target, TextId::SpecifyUsbDrive, TextId::DriveWord, request_.target);
        else if (!ParseDrive(request_.target))
            faults_.push_back(
                {RequestField::Target, TextId::NotUsbDrive, request_.target, TextId::DriveWord, request_.target});
    }
    /// Formats that hold no disc image, and with `needsSuffix` file names that tell none.
    void imageFormat(bool needsSuffix) {
        if (request_.outputFile.empty()) return;
        const auto type = EffectiveOutputType(request_);
        const bool isArchive = request_.outputType == OutputType::BySuffix && HasArchiveSuffix(request_.outputFile);
        if (type ? IsAudio(*type) : needsSuffix && !isArchive)
            add(RequestField::OutputType, TextId::UnknownOutputFormat, TextId::ImageFormats,
                ImageFormatWords() + Text(needsSuffix ? u", 7z, zip" : u""));
    }
    void audioFormat() {
        const bool isToldBySuffix = request_.ripToSingleFile || request_.outputType != OutputType::BySuffix;
        const auto type = isToldBySuffix ? EffectiveOutputType(request_) : std::nullopt;
        if (!type || !IsAudio(*type)) add(RequestField::OutputType, TextId::SpecifyRipType);
    }

    std::vector<RequestFault> take() { return std::move(faults_); }

private:
    static bool HasArchiveSuffix(const Text& path) {
        const TextView suffix = ExtensionOf(path);
        return EqualsIgnoringCase(suffix, u"7z") || EqualsIgnoringCase(suffix, u"zip");
    }
    void add(RequestField field, TextId text, TextId advice = TextId::Count, TextView adviceArgument = {}) {
        faults_.push_back({field, text, {}, advice, Text(adviceArgument)});
    }

    const CommandRequest& request_;
    std::vector<RequestFault> faults_;
};

}  // namespace

std::optional<OutputType> EffectiveOutputType(const CommandRequest& request) {
    if (request.outputType != OutputType::BySuffix) return request.outputType;
    return OutputTypeOfSuffix(request.outputFile);
}

std::vector<RequestFault> CheckRequest(const CommandRequest& request) {
    Checker check(request);
    switch (request.command) {
        case CommandKind::BurnImage:
            check.burner();
            check.image();
            break;
        case CommandKind::CopyDisc:
            check.burner();
            check.drive(RequestField::Source, request.source, TextId::SpecifySourceDrive);
            break;
        case CommandKind::EraseDisc: check.burner(); break;
        case CommandKind::MakeImage:
            check.drive(RequestField::Source, request.source, TextId::SpecifyImagingDrive);
            check.output();
            check.imageFormat(false);
            break;
        case CommandKind::Convert:
            check.image();
            check.output();
            check.imageFormat(true);
            break;
        case CommandKind::Create:
            check.output();
            check.imageFormat(false);
            break;
        case CommandKind::Edit:
            check.image();
            check.imageFormat(false);
            break;
        case CommandKind::List: check.image(); break;
        case CommandKind::Extract:
            check.image();
            check.extractFolder();
            break;
        case CommandKind::Rip:
            if (request.ripToSingleFile)
                check.given(RequestField::OutputFile, request.outputFile, TextId::SpecifyRipFile);
            else
                check.given(RequestField::OutputFolder, request.outputFolder, TextId::SpecifyRipFolder);
            check.audioFormat();
            check.drive(RequestField::Source, request.source, TextId::SpecifySourceDrive);
            break;
        case CommandKind::CreateBootableUsbDrive:
            check.usbDrive();
            check.image();
            break;
        default: break;
    }
    return check.take();
}

}  // namespace tovlark
