// queue_walk.h - the sounds behind the current one, in playing order: on to the end of the queue, then round
// from its head, whether the voice loops or not, so that one that is played again finds its beginning in
// memory.
#pragma once

#include "voices/voice.h"

// At most once round: a queue whose sounds are all too short for what is left to hold ends the walk.
struct QueueWalk_t {
    explicit QueueWalk_t(const Voice_t& voice)
        : head(voice.soundQueue.head),
          node(voice.nextQueued ? voice.nextQueued : head),
          left(voice.soundQueue.count) {}

    void Next() { node = --left == 0 ? nullptr : node->next ? node->next : head; }

    ListNode_t* head;
    ListNode_t* node;  // null: the walk has ended

  private:
    int32_t left;
};
