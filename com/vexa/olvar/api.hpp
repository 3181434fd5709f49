#pragma once

/** @file Marks what the library shows to its users; everything else in it is
 *  hidden. */

#define HEALTHINTF_API __attribute__((visibility("default")))
