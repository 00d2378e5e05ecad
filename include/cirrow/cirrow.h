/**
 * @file cirrow.h
 * @brief cirrow: the aircraft modules' API for flight applications. Include this, or one module header.
 */
#ifndef CIRROW_H
#define CIRROW_H

/** @brief Major version: changes when an exported name, record layout or result code changes incompatibly. */
#define CIRROW_VERSION_MAJOR 1
/** @brief Minor version: changes when names or behaviour are added compatibly. */
#define CIRROW_VERSION_MINOR 0
/** @brief Patch version: changes for fixes that keep every name and behaviour. */
#define CIRROW_VERSION_PATCH 0
/** @brief The version of these headers as text, "MAJOR.MINOR.PATCH". */
#define CIRROW_VERSION "1.0.0"

#include "cw_camera.h"
#include "cw_common.h"
#include "cw_device.h"
#include "cw_flags.h"
#include "cw_flight.h"
#include "cw_gimbal.h"
#include "cw_link.h"
#include "cw_marker.h"
#include "cw_rc.h"
#include "cw_vision.h"
#include "cw_wifi.h"

#endif /* CIRROW_H */
