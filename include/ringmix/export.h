// export.h - marks what the shared library shows.
#pragma once

#define RINGMIX_EXPORT __attribute__((visibility("default")))
