#include "unit/ZRAudioUnitDelegate.h"

namespace morv {

ZRAudioUnitDelegate::~ZRAudioUnitDelegate() = default;
void ZRAudioUnitDelegate::audioUnitDidTriggerVoiceForNote(ZRAudioUnit* /*unit*/, int /*note*/) {}
void ZRAudioUnitDelegate::audioUnitWillChangePreset(ZRAudioUnit* /*unit*/,
                                                    const AUAudioUnitPreset* /*preset*/) {}
void ZRAudioUnitDelegate::audioUnitDidChangePreset(ZRAudioUnit* /*unit*/,
                                                   const AUAudioUnitPreset* /*preset*/) {}
void ZRAudioUnitDelegate::auDidSendMIDI(AUEventSampleTime /*eventSampleTime*/, std::uint8_t /*cable*/,
                                        std::size_t /*len*/, const std::uint8_t* /*bytes*/) {}

}  // namespace morv
