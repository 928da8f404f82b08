// static_objects.cpp - the objects that come to life when the library is loaded, in this order, and go in the
// reverse one. They stand together because the order of objects in different files is nobody's promise, and
// here because every program links this file: objects that only register themselves are otherwise left out of
// a static library.
//
// None of them needs another at construction.

#include "compressed/compressed_voice.h"
#include "compressed/ima_adpcm_sound.h"
#include "foundation/class_registry.h"
#include "sounds/simple_sound.h"
#include "streaming/compressed_stream_voice.h"
#include "streaming/ima_adpcm_stream_sound.h"
#include "streaming/raw_stream_voice.h"
#include "streaming/stream_voice.h"
#include "voices/simple_voice.h"
#include "voices/sliding_voice.h"

namespace {

template <typename Sound>
void* Create() {
    // The registry hands out untyped pointers: they point at the base.
    return static_cast<Sound_t*>(new Sound);
}

}  // namespace

static ClassRegistry imaAdpcmSoundEntry("isn", Create<IMA_ADPCM_Sound_t>);
static ClassRegistry imaAdpcmStreamEntry("iss", Create<IMA_ADPCM_StreamSound_t>);

namespace AudioSystem {

StringMap_t soundTable(10);
String_t defaultArchiveName("DefaultArchive");
List_t allVoices(10);
List_t startingVoices(10);

}  // namespace AudioSystem

MixCostTable_t CompressedVoice_t::mixCosts;
MixCostTable_t CompressedStreamVoice_t::mixCosts;

namespace AudioSystem {

List_t finishedVoices(10);

}

static ClassRegistry simpleSoundEntry("sn", Create<SimpleSound_t>);
MixCostTable_t SimpleVoice_t::mixCosts;
MixCostTable_t SlidingVoice_t::mixCosts;

namespace AudioSystem {

String_t archiveEndMarker("end_of_sound_archive");

}

static ClassRegistry streamSoundEntry("ssn", Create<StreamSound_t>);
MixCostTable_t StreamVoice_t::mixCosts;
MixCostTable_t RawStreamVoice_t::mixCosts;
