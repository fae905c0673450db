// Umbrella header: everything a host of DsCore may use.
#pragma once

#include "qz_dsc/export.h"
#include "qz_dsc/FatalError.h"
#include "qz_dsc/StreamTypes.h"
#include "qz_dsc/BasicBinarySerializer.h"
#include "qz_dsc/BasicBinaryDeserializer.h"
#include "qz_dsc/TimeValueText.h"
#include "qz_dsc/DataSourceStreamVariant.h"
#include "qz_dsc/IStreamModifierRawBufferRoot.h"
#include "qz_dsc/StreamModifierRawBuffer.h"
#include "qz_dsc/DataSourceStreamModifier.h"
#include "qz_dsc/DataSourceModifier.h"
#include "qz_dsc/DataSourceVocabulary.h"
#include "qz_dsc/XMLElementExt.h"
#include "qz_dsc/DataSourceEncDecCommon.h"
#include "qz_dsc/DataSourceUnitEncoder.h"
#include "qz_dsc/DataSourceUnitDecoder.h"
