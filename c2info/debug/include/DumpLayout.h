// The dump report (the default lshal debug command and --dump) as the
// service prints it and the field tools find and read it: the entry of a
// bugreport that holds it, and its lines, which the service prints and
// c2info-triage reads back both from the patterns here. Engineers' scripts
// read this text too, so every line stays as it is.
//
// A pattern is one line without its line end: literal text, and for each
// value a placeholder {name:conversion}. The conversion is the printf one
// the value is printed with. The name is a member of _DebugDescription or
// one the report derives (streamId, postProcess, the two rates, the record
// time, the C2BWM differences, the report's counts); "-" is a value the
// reader does not keep (derived from others, or the padding of a line).
// Literal text holds neither braces nor '%'.
#pragma once

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

// The entry dumpstate stores the service's default dump under in a
// bugreport.
inline constexpr char kServiceEntry[] =
        "lshal-debug/vendor.larkspan.hardware.c2.info@1.0::ICodec2InfoService_default.txt";

// Leads the first line of every debug command's output, " - " and the
// command's name after it; --dump's is kDumpCommand, and kNotEnabled after
// that is its only other line while the monitor is off.
inline constexpr char kDebugBanner[] = "C2 LsHal Ver-1.3";
inline constexpr char kDumpCommand[] = "Dump";
inline constexpr char kNotEnabled[] = "(not enabled)";
// The label of the system time line that ends a report without streams.
inline constexpr char kNoStreamsLabel[] = "No codec2 can dump";

// The rules that open and close a block and part its sections.
inline constexpr int kRuleLength = 99;
struct Rule {
    char text[kRuleLength + 1];
};
constexpr Rule ruleOf(char c) {
    Rule rule{};
    for (int i = 0; i < kRuleLength; ++i) rule.text[i] = c;
    return rule;
}
inline constexpr Rule kEqualsRule = ruleOf('=');
inline constexpr Rule kDashRule = ruleOf('-');

// The report: its header, each generation between its Begin and End lines,
// then the difference blocks between theirs. The '=' that pad these lines
// are cut from kEqualsRule.
inline constexpr char kReportHeader[] =
        "===== Total Cnt of GetDebugInfo: {snapshotCount:%llu}, Latest DebugDescList index: "
        "{latestIndex:%u} {-:%.65s}";
inline constexpr char kGenerationBegin[] = "===== DebugDescList[{index:%d}] Begin {-:%.94s}";
// Followed by an empty line.
inline constexpr char kGenerationEnd[] = "===== DebugDescList[{index:%d}] End {-:%.96s}";
inline constexpr char kDifferencesBegin[] = "===== Each Stream Info Diff Begin {-:%.94s}";
inline constexpr char kDifferencesEnd[] = "===== Each Stream Info Diff End {-:%.94s}";

// Section headers, as wide as the rules.
inline constexpr char kDecodeHeader[] =
        "  decode /  fps / late  |  workIn / workOut / diff /  busy  | fb late |  gap / back / "
        "timestamp";
inline constexpr char kInputHeader[] =
        "   input /  fps / late  |   push |    pop | skip |  queue |    get | drop | "
        "pending(ES/FB/VDEC)";
inline constexpr char kSideBandHeader[] =
        "-----------------------------------------------SideBand-----------------------------------"
        "---------";
inline constexpr char kExternalInputHeader[] =
        "---------------------------------------HDMI/ATV/CVBS/YPBPR state-------------------------"
        "----------";
static_assert(sizeof(kSideBandHeader) == kRuleLength + 1 &&
              sizeof(kExternalInputHeader) == kRuleLength + 1);

// The lines both blocks print, the snapshot's values or the differences.
inline constexpr char kDecodeLine[] =
        "{decode:%8d} /{decodeFps:%5.1lf} /{decodeLate:%5d}  |{workIn:%8lld} /{workOut:%8lld} "
        "/{-:%5lld} /{busy:%6d}  |{fbLate:%8d} |{gap:%5d} /{back:%5d} / {timestamp:%lld}";
inline constexpr char kInputLine[] =
        "{input:%8d} /{inputFps:%5.1lf} /{inputLate:%5d}  |{push:%7d} |{pop:%7d} |{skip:%5d} "
        "|{queue:%7d} |{get:%7d} |{drop:%5d} |        ({pendingES:%2d}/{pendingFB:%2d}/{-:%4d})";
inline constexpr char kClockLine[] =
        "  usingClock({usingClock:%s}) clockTime_using({clockTime_using:%llu}) "
        "clockTime_internal({clockTime_internal:%llu}) "
        "clockTime_videoSync({clockTime_videoSync:%llu})";
// Closes a difference block's first line, and has a line of its own in a
// snapshot block.
inline constexpr char kRecordTimeLine[] = "  RecordTime: {recordTime:%s}";

// A snapshot block, in order after its opening rule: the SideBand section
// only for SideBand streams, a closing rule at the end.
inline constexpr char kSnapshotFirst[] =
        "  strId({streamId:%d}) - component({component:%s}) [{width:%d} x {height:%d} @ "
        "{frameRate:%d}, i/p({interlaced:%d})] 1/fr({frameInterval:%.1lf})";
inline constexpr char kStateLine[] =
        "  init({init:%d}) header({header:%d}) eosIn({eosIn:%d}) eosOut({eosOut:%d}) "
        "flushing({flushing:%d}) stopping({stopping:%d})";
inline constexpr char kReleaseLine[] =
        "  releasing({releasing:%d}) released({released:%d}) releaseProgress({releaseProgress:%d})";
inline constexpr char kModeLine[] =
        "  sideBand({sideBand:%d}) bufferQueue({bufferQueue:%d}) renderMode({renderMode:%d}) "
        "secureMode({secureMode:%d}) inputSource({inputSource:%d}) hdrType({hdrType:%d})";
inline constexpr char kPictureLine[] =
        "  inputPassthrough({inputPassthrough:%d}) postProcess({postProcess:%d}) "
        "pqType({pqType:%d}) aiVision({aiVision:%d})";
inline constexpr char kBufferLine[] =
        "  singleBuffer({singleBuffer:%d}) requestBufCnt({requestBufCnt:%d}) "
        "allocatedBufCnt({allocatedBufCnt:%d}) inputPortDelay({inputPortDelay:%d}) "
        "outputPortDelay({outputPortDelay:%d})";
inline constexpr char kTunnelLine[] =
        "  hwSyncId({hwSyncId:%d}) tpcPipelineConnected({tpcPipelineConnected:%d}) "
        "tpcPipelineDisconnected({tpcPipelineDisconnected:%d})";
inline constexpr char kFirstFrameLine[] =
        "  firstPts({firstPts:%llu}) firstFrameNotifiedToTpc({firstFrameNotifiedToTpc:%d}) "
        "pauseState({pauseState:%d}) connectedDispLinkId({connectedDispLinkId:%d})";
inline constexpr char kSideBandStateLine[] =
        "  state({state:%d}) c2BwmReady({c2BwmReady:%d}) bypassMode({bypassMode:%d}) "
        "preloadDone({preloadDone:%d}) toPts({toPts:%d}) | DispLink - opened({dispLinkOpened:%d}) "
        "configured({dispLinkConfigured:%d}) disconnect({dispLinkDisconnect:%d})";
inline constexpr char kSideBandQueueLine[] =
        "  1stFrameRdy({firstFrameRdy:%d}) queueCnt({queueCnt:%d}) flipCnt({flipCnt:%d}) "
        "pendingFlip({pendingFlip:%d}) pendingRender({pendingRender:%d}) "
        "pendingSBB({pendingSBB:%d}) pendingSBW({pendingSBW:%d})";
inline constexpr char kDtvDropLine[] =
        "  autoDrop({autoDrop:%d}) isDtv({isDtv:%d}) dtvInitialDropBegin({dtvInitialDropBegin:%d}) "
        "dtvInitialDropFinish({dtvInitialDropFinish:%d})";
inline constexpr char kDtvDropTimeLine[] =
        "  dtvInitialDropStartTime({dtvInitialDropStartTime:%llu}) "
        "dtvInitialDropDueTime({dtvInitialDropDueTime:%llu}) sysTimeUs({sysTimeUs:%llu}) "
        "dtvInitialDropTargetPts({dtvInitialDropTargetPts:%llu}) lastGetPts({lastGetPts:%llu})";
inline constexpr char kExternalInputLine[] =
        "  DecHandle(0x{decHandle:%x}) Pause({pause:%u}) FirstFrame({firstFrame:%u}) "
        "StreamOn({streamOn:%u}) Signal({signal:%u}) MuteAction({muteAction:%u}) "
        "MuteFactor({muteFactor:%u})";
inline constexpr char kExternalInputModeLine[] =
        "  ALLM({allm:%u}) DV_GAME({dvGame:%u}) HDR10pALLM({hdr10pAllm:%u}) FMM_Mode({fmmMode:%u}) "
        "SBTM_mode({sbtmMode:%u}) ContentType({contentType:%u}) ColorDepth({colorDepth:%u}) "
        "ColorFormat({colorFormat:%u})";
inline constexpr char kExternalInputPictureLine[] =
        "  SSTM({sstm:%u}) VRR({vrr:%u}) DisplayMode({displayMode:%u}) AFD({afd:%u}) "
        "PIC_AR({picAr:%u}), IMAX({imax:%u}), MatrixCoeff({matrixCoeff:%u}), "
        "Colorimetry({colorimetry:%u})";

// A difference block, in order after its opening rule: the first line runs
// on into the record time's, whose dash rule follows; the SideBand section
// only for SideBand streams; a closing rule at the end.
inline constexpr char kDifferenceFirst[] = "  strId({streamId:%d}) Diff of debug info";
inline constexpr char kDifferenceBufferLine[] =
        "  requestBufCnt({requestBufCnt:%d}) allocatedBufCnt({allocatedBufCnt:%d}) "
        "inputPortDelay({inputPortDelay:%d}) outputPortDelay({outputPortDelay:%d})";
inline constexpr char kDifferenceQueueLine[] =
        "  queueCnt({queueCnt:%d}) flipCnt({flipCnt:%d}) pendingFlip({pendingFlip:%d}) "
        "pendingRender({pendingRender:%d}) pendingSBB({pendingSBB:%d}) "
        "pendingSBW({pendingSBW:%d})";
inline constexpr char kC2BwmHeader[] =
        "-------------------------------------------C2BWM STATE :({c2BwmState:%u})"
        "---------------------------------------";
inline constexpr char kC2BwmLine[] =
        "  executeCount({executeCount:%u}) finishCount({finishCount:%u}) "
        "executeFlushCount({executeFlushCount:%d}) pending({c2BwmPending:%d})";

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
