#include "kit/Info.h"

#include "kit/FileInfo.h"
#include "kit/Printable.h"
#include "kit/RunItems.h"
#include "kit/clCommandLine.h"
#include "kit/clFileProgress.h"
#include "kit/clInputs.h"
#include "kit/clReporter.h"
#include "kit/clStopSignal.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

namespace
{

// Hours, minutes, seconds and milliseconds, rounded to the nearest.
std::string TimeOf(int64_t lSamples, uint64_t uSampleRate)
{
    const auto uSamples =
        lSamples < 0 ? 0 - static_cast<uint64_t>(lSamples) : static_cast<uint64_t>(lSamples);
    // The rest is smaller than the rate, which has 32 bits.
    const uint64_t uRest = (uSamples % uSampleRate * 1000 + uSampleRate / 2) / uSampleRate;
    const uint64_t uSeconds = uSamples / uSampleRate + uRest / 1000;
    char aText[48];
    std::snprintf(aText, sizeof(aText), "%s%" PRIu64 ":%02" PRIu64 ":%02" PRIu64 ".%03" PRIu64,
                  lSamples < 0 ? "-" : "", uSeconds / 3600, uSeconds / 60 % 60, uSeconds % 60,
                  uRest % 1000);
    return aText;
}

/** Lines with names and values, the values in one column. */
class clTable
{
public:
    /** Nothing is added for an empty value. */
    void Add(const std::string &strName, const std::string &strValue)
    {
        if (!strValue.empty()) {
            std::string strPadded = strName;
            strPadded.resize(std::max(strName.size() + 1, VALUE_COLUMN), ' ');
            strLines += strPadded + Printable(strValue) + "\n";
        }
    }

    std::string strLines;

private:
    static constexpr size_t VALUE_COLUMN = 15;
};

std::string Join(const std::vector<std::string> &aTexts)
{
    std::string strAll;
    for (const std::string &strText : aTexts) {
        strAll += (strAll.empty() ? "" : " ") + strText;
    }
    return strAll;
}

std::string DescribeRate(const file_info_t &info)
{
    if (!info.uSampleRate) {
        return "unknown";
    }
    const std::string strRate = std::to_string(*info.uSampleRate) + " Hz";
    return info.strMultiple.empty() ? strRate
                                    : strRate + " (" + info.strMultiple + ": " +
                                          info.strMultiple.substr(3) + " times 44100 Hz)";
}

std::string DescribeChannels(const file_info_t &info)
{
    if (!info.uChannels) {
        return "unknown";
    }
    return std::to_string(*info.uChannels) + (info.aLayout ? ": " + Join(*info.aLayout) : "");
}

std::string DescribeMarker(const file_info_t::marker_t &marker, const file_info_t &info)
{
    std::string strMarker =
        marker.cpType == nullptr ? "type " + std::to_string(marker.uType) : marker.cpType;
    if (marker.lSample) {
        strMarker += " at " + TimeOf(*marker.lSample, *info.uSampleRate) + ", sample " +
                     std::to_string(*marker.lSample);
    }
    if (marker.uTrack != 0) {
        strMarker += ", track " + std::to_string(marker.uTrack);
    }
    return strMarker + (marker.strText.empty() ? "" : ": " + marker.strText);
}

void AddTag(const file_info_t::tag_t &tag, clTable &table)
{
    const clTagFields &fields = tag.fields;
    table.Add("Tag", "ID3v" + fields.strVersion + ", " + std::to_string(tag.uBytes) + " bytes");
    table.Add("  Title", fields.strTitle);
    table.Add("  Artist", fields.strArtist);
    table.Add("  Album", fields.strAlbum);
    table.Add("  Track", fields.strTrack);
    table.Add("  Year", fields.strYear);
    table.Add("  Genre", fields.strGenre);
    table.Add("  Pictures", std::to_string(fields.sizePictures));
}

std::string FormatText(const input_t &file, const file_info_t &info)
{
    clTable table;
    table.Add("File", file.strPath);
    table.Add("Format",
              info.strFormat + (info.strVersion.empty() ? "" : ", version " + info.strVersion));
    table.Add("Compression", info.strCompression.empty() ? "unknown" : info.strCompression);
    table.Add("Sample rate", DescribeRate(info));
    table.Add("Channels", DescribeChannels(info));
    table.Add("Samples", info.uSamples ? std::to_string(*info.uSamples) + " per channel"
                                       : std::string("unknown"));
    if (info.uSamples && info.uSampleRate) {
        // No sound comes near the limit of the type but what a header announces.
        table.Add("Duration",
                  TimeOf(static_cast<int64_t>(std::min<uint64_t>(*info.uSamples, INT64_MAX)),
                         *info.uSampleRate));
    }
    if (info.uSoundBytes) {
        table.Add("Sound", std::to_string(*info.uSoundBytes) +
                               (info.strCompression == "DST" ? " bytes when decoded" : " bytes"));
    }
    table.Add("Complete", info.bComplete ? "yes" : "no");
    for (const std::string &strProblem : info.aProblems) {
        table.Add("Problem", strProblem);
    }
    table.Add("Artist", info.strArtist);
    table.Add("Title", info.strTitle);
    if (info.tag) {
        AddTag(*info.tag, table);
    } else {
        table.Add("Tag", "none");
    }
    for (const file_info_t::marker_t &marker : info.aMarkers) {
        table.Add("Marker", DescribeMarker(marker, info));
    }
    for (const std::string &strComment : info.aComments) {
        table.Add("Comment", strComment);
    }
    table.Add("Digest", info.strDigest.empty() ? "" : "MD5 " + info.strDigest);
    return table.strLines;
}

void SetTag(const file_info_t::tag_t &tag, clJson &json)
{
    const clTagFields &fields = tag.fields;
    clJson object;
    object.SetTextOrNull("version", fields.strVersion)
        .SetNumber("bytes", tag.uBytes)
        .SetTextOrNull("title", fields.strTitle)
        .SetTextOrNull("artist", fields.strArtist)
        .SetTextOrNull("album", fields.strAlbum)
        .SetTextOrNull("track", fields.strTrack)
        .SetTextOrNull("year", fields.strYear)
        .SetTextOrNull("genre", fields.strGenre)
        .SetNumber("pictures", fields.sizePictures);
    json.SetObject("tag", object);
}

std::vector<clJson> FormatMarkers(const file_info_t &info)
{
    std::vector<clJson> aObjects;
    aObjects.reserve(info.aMarkers.size());
    for (const file_info_t::marker_t &marker : info.aMarkers) {
        clJson object;
        if (marker.cpType == nullptr) {
            object.SetNumber("type", marker.uType);
        } else {
            object.SetText("type", marker.cpType);
        }
        object.SetNumber("track", marker.uTrack);
        if (marker.lSample) {
            object.SetSigned("sample", *marker.lSample);
        } else {
            object.SetNull("sample");
        }
        object.SetText("text", marker.strText);
        aObjects.push_back(std::move(object));
    }
    return aObjects;
}

clJson FormatJson(const input_t &file, const file_info_t &info)
{
    clJson json;
    json.SetText("file", file.strPath)
        .SetTextOrNull("format", info.strFormat)
        .SetTextOrNull("version", info.strVersion)
        .SetTextOrNull("compression", info.strCompression)
        .SetNumberOrNull("sample_rate", info.uSampleRate)
        .SetTextOrNull("multiple", info.strMultiple)
        .SetNumberOrNull("channels", info.uChannels);
    if (info.aLayout) {
        json.SetTexts("layout", *info.aLayout);
    } else {
        json.SetNull("layout");
    }
    json.SetNumberOrNull("samples", info.uSamples);
    if (info.uSamples && info.uSampleRate) {
        json.SetReal("duration",
                     static_cast<double>(*info.uSamples) / static_cast<double>(*info.uSampleRate));
    } else {
        json.SetNull("duration");
    }
    json.SetNumberOrNull("sound_bytes", info.uSoundBytes)
        .SetBool("complete", info.bComplete)
        .SetTexts("problems", info.aProblems);
    if (info.tag) {
        SetTag(*info.tag, json);
    } else {
        json.SetNull("tag");
    }
    json.SetTextOrNull("artist", info.strArtist)
        .SetTextOrNull("title", info.strTitle)
        .SetObjects("markers", FormatMarkers(info))
        .SetTexts("comments", info.aComments)
        .SetTextOrNull("digest", info.strDigest);
    return json;
}

class clInfoRun
{
public:
    clInfoRun(const options_t &runOptions, clReporter &runReporter)
        : options(runOptions),
          reporter(runReporter),
          inputs(clInputs::ReadNames(runOptions), clInputs::DSDIFF_AND_DSF_FILES)
    {
    }

    int Run()
    {
        items_t items;
        items.sizeCount = inputs.GetFiles().size();
        items.uBytes = inputs.GetTotalSize();
        items.uSizesToCome = inputs.CountURLs();
        items.answer = [this](size_t sizeIdx) { return Answer(sizeIdx); };
        items.fail = [this](size_t sizeIdx, const char *cpReason) {
            return Fail(inputs.GetFiles()[sizeIdx], file_info_t(), cpReason);
        };
        return RunItems(items, options, reporter) == 0 ? EXIT_DONE : EXIT_SOME_FAILED;
    }

private:
    answer_t Answer(size_t sizeIdx)
    {
        const input_t &file = inputs.GetFiles()[sizeIdx];
        reporter.BeginFile(file.strPath);
        clFileProgress progress(reporter);
        progress.Add(file);
        file_info_t info;
        answer_t answer;
        try {
            ReadFileInfo(file, options, progress, info);
            answer = Format(file, info);
            answer.bGood = true;
        } catch (const clXStopped &) {
            throw;
        } catch (const std::exception &caught) {
            answer = Fail(file, info, caught.what());
        }
        if (sizeIdx != 0 && !answer.strText.empty()) {
            answer.strText.insert(0, "\n");
        }
        return answer;
    }

    // What became known before the failure is shown.
    answer_t Fail(const input_t &file, const file_info_t &info, const char *cpReason)
    {
        reporter.Fail(file.strPath, cpReason);
        return Format(file, info);
    }

    // Text only for a file of which something is known.
    answer_t Format(const input_t &file, const file_info_t &info) const
    {
        answer_t answer;
        if (options.bJson) {
            answer.json = FormatJson(file, info);
        } else if (!info.strFormat.empty()) {
            answer.strText = FormatText(file, info);
        }
        return answer;
    }

    const options_t &options;
    clReporter &reporter;
    const clInputs inputs;
};

} // namespace

int RunInfo(const options_t &options, clReporter &reporter)
{
    return clInfoRun(options, reporter).Run();
}
