// The documents of every run are validated, and validation can fail.

#include "DocumentSchemas.h"

#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>

#include "ComponentFolder.h"
#include "Expected.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

TEST(DocumentSchemas, FindEveryDocumentAmongOtherOutput) {
  const std::string inventory = inventoryDocument({listed({})});
  const std::string update = updateDocument({});
  EXPECT_THAT(documentsIn(inventory + update), ElementsAre(inventory, update));
  EXPECT_THAT(documentsIn("usage\n" + update + "noise" + inventory + "\n"), ElementsAre(update, inventory));
  EXPECT_THAT(documentsIn("noise" + inventory.substr(0, 100)), ElementsAre(inventory.substr(0, 100)));
  EXPECT_THAT(documentsIn("usage\n"), IsEmpty());
}

TEST(DocumentSchemas, AcceptWhatIsWrittenAndRefuseWhatIsNot) {
  for (const std::string& document : {inventoryDocument({}), updateDocument({}),
                                      inventoryDocument({listed({}), failed(kRevisionUnreadable)}),
                                      updateDocument({failed(kUpdateFailed), updated({})})}) {
    EXPECT_EQ(validate(document).complaint, "") << document;
  }
  EXPECT_THAT(validate(inventoryDocument({updated({})})).complaint,
              HasSubstr("Element content is not allowed"));
  EXPECT_THAT(validate(updateDocument({listed({})})).complaint, HasSubstr("Missing child element"));
  EXPECT_THAT(validate("<Other/>").complaint, HasSubstr("no schema for Other"));
  EXPECT_FALSE(validate(inventoryDocument({"<"})).isWellFormed);
}

TEST(DocumentSchemas, FailTheTestWhoseRunWritesSomethingElse) {
  ComponentFolder component;
  component.setDrives({drive(1, {{"serial", "S\" colour=\"red"}})});
  EXPECT_NONFATAL_FAILURE(component.run({"-i"}), "colour");
  EXPECT_NONFATAL_FAILURE(component.run({"-u", "-o", "out.xml"}), "colour");
  component.setDrives({drive(1, {{"serial", "A&B"}})});
  EXPECT_NONFATAL_FAILURE(component.run({"-i", "-o", "out.xml"}), "EntityRef");
  component.settings.breaksDocuments = true;
  component.run({"-i", "-o", "out.xml"});
  component.setDrives({drive(1)});
  EXPECT_NONFATAL_FAILURE(component.run({"-i"}), "is well-formed");
}
