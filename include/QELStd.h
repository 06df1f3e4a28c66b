// QELStd: the umbrella header; includes every public header of the library.
#ifndef QELSTD_H
#define QELSTD_H

#include "QELExport.h"
#include "QELTypes.h"
#include "QELVersion.h"
#include "QELString.h"
#include "QELEncoding.h"
#include "QELText.h"
#include "QELMessage.h"
#include "QELBlob.h"
#include "QELContainer.h"
#include "QELVector.h"
#include "QELStringList.h"
#include "QELHashtable.h"
#include "QELSimpleHashtable.h"
#include "QELStringHashtable.h"
#include "QELRBTree.h"
#include "QELOption.h"
#include "QELDate.h"
#include "QELException.h"
#include "QELSetup.h"
#include "QELConfiguration.h"
#include "QELFile.h"
#include "QELLog.h"
#include "QELLogDeserializer.h"
#include "QELProcess.h"
#include "QELChildProcess.h"
#include "QELTextLiteral.h"
#include "QELTextLiteralsCollection.h"

#endif
