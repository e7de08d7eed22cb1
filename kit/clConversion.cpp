#include "kit/clConversion.h"

#include "decode/Signal.h"
#include "kit/OpenInput.h"
#include "kit/clCommandLine.h"
#include "kit/clInputs.h"
#include "kit/clOutputFile.h"
#include "kit/clReporter.h"
#include "kit/clStopSignal.h"
#include "kit/clXInput.h"

#include <cerrno>
#include <cstring>

#include <sys/stat.h>
#include <unistd.h>

namespace
{

// Why no file could be made at a path: what is wrong with the folder nearest to it that exists.
// Empty when nothing is.
std::string FindFolderFault(const std::string &strOutput)
{
    std::string strFolder = strOutput;
    struct stat status = {};
    do {
        while (!strFolder.empty() && strFolder.back() == '/') {
            strFolder.pop_back();
        }
        strFolder.erase(strFolder.find_last_of('/') + 1);
        if (strFolder.empty()) {
            strFolder = "./";
        }
    } while (stat(strFolder.c_str(), &status) != 0 && errno == ENOENT && strFolder != "/" &&
             strFolder != "./");
    if (stat(strFolder.c_str(), &status) != 0 || access(strFolder.c_str(), W_OK | X_OK) != 0) {
        return clXFileIO(("cannot write to the folder " + strFolder).c_str(), errno).what();
    }
    return {};
}

} // namespace

clConversion::result_t clConversion::Convert(const input_t &file, const std::string &strOutput)
{
    result_t result;
    progress.emplace(reporter).Add(file);
    uSoundDone = 0;
    try {
        Run(file, strOutput, result);
    } catch (const clXStopped &) {
        sound.Close();
        throw;
    } catch (const std::exception &caught) {
        result.status = status_t::FAILED;
        result.strError = caught.what();
    }
    // Neither this input nor the file that failed stays open until the next input.
    sound.Close();
    writer.Close();
    input.Close();
    progress.reset();
    return result;
}

void clConversion::Run(const input_t &file, const std::string &strOutput, result_t &result)
{
    if (!file.strFault.empty()) {
        throw clXInput(file.strFault);
    }
    if (options.bSkipExisting && clOutputFile::IsTaken(strOutput)) {
        result.status = status_t::SKIPPED;
        return;
    }
    Judge(file, result);
    if (options.bDryRun) {
        CheckOutput(strOutput);
        if (input.IsDST()) {
            ReadAll();
            WarnOfFrames(file, result);
        }
        result.status = status_t::WOULD_CONVERT;
        return;
    }

    clOutputFile output(strOutput, options.bForce);
    WriteOutput(output.GetTemporaryPath(), strOutput, result);
    WarnOfFrames(file, result);
    const clInputStream &stream = input.GetStream();
    if (const auto timeModified = stream.GetTime()) {
        output.SetTime(*timeModified);
    }
    output.Sync();
    if (options.bVerify) {
        verifier.Verify(
            output.GetTemporaryPath(), sound,
            {*result.uSampleRate, sound.GetType(), tag.GetBytes(), digest ? digest->Finish() : ""},
            [this](uint64_t uBytes) { AddProgress(uBytes); });
        result.bVerified = true;
    }
    stream.ThrowIfChanged();
    output.Commit(options.bForce);
    result.status = status_t::CONVERTED;
    if (options.bDeleteInput) {
        RemoveInput(file);
    }
}

void clConversion::Judge(const input_t &file, result_t &result)
{
    input.Open(OpenStream(file, options, *progress));
    if (input.GetKind() != clInputFile::kind_t::DSDIFF) {
        throw clXInput("not a DSDIFF file");
    }
    const auto verdict = input.Judge(options.bLenient, !options.bNoTag && !options.strTag);
    for (const std::string &strText : verdict.aWarnings) {
        Warn(file, strText, result);
    }
    for (const std::string &strText : verdict.aHints) {
        reporter.Hint(file.strPath, strText);
    }
    if (input.GetChannels() != 0) {
        result.uChannels = input.GetChannels();
    }
    if (input.GetSampleRate() != 0) {
        result.uSampleRate = input.GetSampleRate();
    }
    if (input.GetDSDIFF().sound.bFound && input.GetChannels() != 0) {
        result.uSamples = input.GetSamples();
    }
    if (!verdict.strFault.empty()) {
        throw clXInput(verdict.strFault);
    }
    if (!result.uSampleRate) {
        result.uSampleRate = Signal::DEFAULT_RATE;
    }
    sound.Open(input, options.bLenient);
    digest.reset();
    if (!file.strURL.empty() && options.bVerify && !options.bDryRun) {
        digest.emplace(clDigest::CHECKSUM);
        sound.SetDigest(&*digest);
    }
    tag.Choose(input, options, !options.bDryRun);
    result.cpTag = tag.GetName();
    result.uTagBytes = tag.GetSize();
    if (!tag.GetWarning().empty()) {
        Warn(file, tag.GetWarning(), result);
    }
}

void clConversion::Warn(const input_t &file, const std::string &strText, result_t &result)
{
    result.aWarnings.push_back(strText);
    reporter.Warn(file.strPath, strText);
}

// Finds without making a file what a run would find by making it.
void clConversion::CheckOutput(const std::string &strOutput) const
{
    if (clOutputFile::IsTaken(strOutput) && !options.bForce) {
        throw clXOutputExists(clOutputFile::GetTakenReason(strOutput));
    }
    struct stat status = {};
    if (options.bForce && stat(strOutput.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) {
        throw clXOutput("the output " + strOutput + " is a folder");
    }
    const std::string strFault = FindFolderFault(strOutput);
    if (!strFault.empty()) {
        throw clXOutput(strFault);
    }
}

void clConversion::WriteOutput(const std::string &strTemporary, const std::string &strOutput,
                               const result_t &result)
{
    // A failure of the input must not be reported for the output, nor the other way round.
    const auto fnReport = [&](const auto &fnWrite) {
        try {
            fnWrite();
        } catch (const clException &caught) {
            WrapException<clXOutput>((strOutput + " cannot be written: ").c_str(), caught);
        }
    };
    const uint32_t uChannels = sound.GetChannels();
    fnReport([&] {
        writer.Create(strTemporary.c_str(), *result.uSampleRate, uChannels);
        writer.SetChannelType(sound.GetType());
    });
    const size_t sizeFrames = sound.GetReadFrames();
    uint8_t *const pFrames = GetFrameBuffer(sizeFrames);
    while (const size_t sizeRead = ReadFrames(pFrames, sizeFrames)) {
        fnReport([&] { writer.WriteFrames(pFrames, sizeRead, sound.GetPlaces().data()); });
    }
    fnReport([&] {
        if (tag.GetSize() != 0) {
            writer.WriteMeta(tag.GetBytes().data(), tag.GetSize());
        }
        writer.SetLength(sound.GetSamples());
        writer.Close();
    });
}

void clConversion::RemoveInput(const input_t &file) const
{
    const std::string strDone = "converted, but not removed: ";
    if (!input.GetStream().IsAt(file.strPath)) {
        throw clXInput(strDone + "it is no longer the file that was read");
    }
    if (unlink(file.strPath.c_str()) != 0) {
        throw clXInput(strDone + std::strerror(errno));
    }
}

// Only when it is decoded does compressed sound show whether it can be.
void clConversion::ReadAll()
{
    const size_t sizeFrames = sound.GetReadFrames();
    uint8_t *const pFrames = GetFrameBuffer(sizeFrames);
    while (ReadFrames(pFrames, sizeFrames) != 0) {
    }
}

size_t clConversion::ReadFrames(uint8_t *pFrames, size_t sizeFrames)
{
    try {
        const size_t sizeRead = sound.ReadStored(pFrames, sizeFrames);
        AddProgress(sizeRead * sound.GetChannels());
        return sizeRead;
    } catch (const clXFrame &caught) {
        throw clXInput(std::string(caught.what()) + clInputFile::LENIENT_HINT);
    }
}

uint8_t *clConversion::GetFrameBuffer(size_t sizeFrames)
{
    return static_cast<uint8_t *>(
        allocFrames.SetSize(static_cast<int64_t>(sizeFrames * sound.GetChannels())));
}

void clConversion::WarnOfFrames(const input_t &file, result_t &result)
{
    for (const std::string &strText :
         sound.GetFrameReport().GetFaults("; silence takes its place")) {
        Warn(file, strText, result);
    }
}

void clConversion::AddProgress(uint64_t uBytes)
{
    uSoundDone += uBytes;
    const uint64_t uReads = !options.bDryRun && options.bVerify ? 2 : 1;
    progress->Reach(uSoundDone, uReads * sound.GetSize());
}
