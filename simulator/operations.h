// The toolkit's operations by number and name, for faults, records and the check of the lock.
#pragma once

#include <cstddef>
#include <string_view>

// Name, and whether it is called under the lock. The panel's text is written without it, because a
// job may say something while another session scans.
#define NVQ_SIM_OPERATIONS(X)           \
    X(OpenDevice, false)                \
    X(CloseDevice, false)               \
    X(LockScanner, false)               \
    X(UnlockScanner, true)              \
    X(IsLampOn, true)                   \
    X(LampOn, true)                     \
    X(GetDeviceCapabilities, true)      \
    X(GetScanSetup, true)               \
    X(CalibrateScanner, true)           \
    X(FinishOpen, true)                 \
    X(StartScan, true)                  \
    X(SetTonemap, true)                 \
    X(BeginRead, true)                  \
    X(EndScan, true)                    \
    X(ReadScan, true)                   \
    X(IsPaperInADF, true)               \
    X(GetADF2Capabilities, true)        \
    X(SetADFMode, true)                 \
    X(EndADF2Job, true)                 \
    X(ADF2PaperFeed, true)              \
    X(GetADF3Capabilities, true)        \
    X(GetDuplexSwitch, true)            \
    X(ADFStartJob, true)                \
    X(ADFEndJob, true)                  \
    X(GetADFCapabilities, true)         \
    X(GetXPACapabilities, true)         \
    X(XPALampOn, true)                  \
    X(IsXPALampOn, true)                \
    X(GetMediaSummary, true)            \
    X(GetMediaRecord, true)             \
    X(GetNvramInfo, true)               \
    X(ReadNvram, true)                  \
    X(WriteNvram, true)                 \
    X(GetCompressionCapabilities, true) \
    X(SetCompressionType, true)         \
    X(EnableCompression, true)          \
    X(SetCompressionValue, true)        \
    X(SetLampTimeout, true)             \
    X(GetPanelCapabilities, true)       \
    X(SetPanelText, false)              \
    X(GetStringProperty, true)          \
    X(GetLongProperty, true)            \
    X(GetColorMatrixCapabilities, true) \
    X(SetColorMatrix, true)             \
    X(BeginJobGate, true)               \
    X(EndJobGate, true)                 \
    X(GetJobGateState, true)            \
    X(AbortJobGate, true)               \
    X(GetProfileSize, true)             \
    X(ReadProfile, true)                \
    X(GetResolutionTable, true)         \
    X(GetButtonDataSize, true)          \
    X(ReadButtons, true)                \
    X(EndButtonRead, true)              \
    X(SetInstantLamp, true)             \
    X(GetPendingState, true)            \
    X(RunPendingTask, true)

enum class EOperation {
#define NVQ_SIM_NAME(name, underLock) name,
    NVQ_SIM_OPERATIONS(NVQ_SIM_NAME)
#undef NVQ_SIM_NAME
};

// A row of the list above, to be looked up by number.
struct COperation {
    const char* name;
    bool underLock;
};

inline constexpr COperation kOperations[] = {
#define NVQ_SIM_ROW(name, underLock) {#name, underLock},
    NVQ_SIM_OPERATIONS(NVQ_SIM_ROW)
#undef NVQ_SIM_ROW
};
inline constexpr std::size_t kOperationCount = sizeof(kOperations) / sizeof(kOperations[0]);

constexpr const COperation& OperationOf(EOperation operation) {
    return kOperations[static_cast<std::size_t>(operation)];
}

// What these end is over also when they are told to fail: the driver doesn't ask again.
inline constexpr EOperation kEndings[] = {
    EOperation::CloseDevice, EOperation::UnlockScanner, EOperation::EndScan,
    EOperation::EndADF2Job,  EOperation::ADFEndJob,     EOperation::EndJobGate,
};

constexpr bool IsEnding(EOperation operation) {
    for (const EOperation ending : kEndings) {
        if (ending == operation)
            return true;
    }
    return false;
}

constexpr bool FindOperation(std::string_view name, EOperation* operation) {
    for (std::size_t i = 0; i < kOperationCount; ++i) {
        if (name == kOperations[i].name) {
            *operation = static_cast<EOperation>(i);
            return true;
        }
    }
    return false;
}
