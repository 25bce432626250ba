#pragma once

// One function a page. The page table alone calls them.

#include <memory>

#include "framework/tessel_property_page.h"

std::unique_ptr<CTesselPropertyPage> MakeCompressionPage(const PageArguments& arguments);
std::unique_ptr<CTesselPropertyPage> MakeGeneralPage(const PageArguments& arguments);
std::unique_ptr<CTesselPropertyPage> MakeCipherPage(const PageArguments& arguments);
std::unique_ptr<CTesselPropertyPage> MakeHostKeyPage(const PageArguments& arguments);
std::unique_ptr<CTesselPropertyPage> MakeKexPage(const PageArguments& arguments);
std::unique_ptr<CTesselPropertyPage> MakeMacPage(const PageArguments& arguments);
std::unique_ptr<CTesselPropertyPage> MakeAuthMainPage(const PageArguments& arguments);
std::unique_ptr<CTesselPropertyPage> MakeAuthPasswordPage(const PageArguments& arguments);
std::unique_ptr<CTesselPropertyPage> MakeAuthPubKeyPage(const PageArguments& arguments);
std::unique_ptr<CTesselPropertyPage> MakeAuthGssApiPage(const PageArguments& arguments);
std::unique_ptr<CTesselPropertyPage> MakeAuthX509Page(const PageArguments& arguments);
std::unique_ptr<CTesselPropertyPage> MakeBannerPage(const PageArguments& arguments);
std::unique_ptr<CTesselPropertyPage> MakeAccessControlPage(const PageArguments& arguments);
std::unique_ptr<CTesselPropertyPage> MakeLoggingPage(const PageArguments& arguments);
std::unique_ptr<CTesselPropertyPage> MakePrintInfoPage(const PageArguments& arguments);
std::unique_ptr<CTesselPropertyPage> MakeUsersMainPage(const PageArguments& arguments);
std::unique_ptr<CTesselPropertyPage> MakeGroupsMainPage(const PageArguments& arguments);
std::unique_ptr<CTesselPropertyPage> MakeSftpPage(const PageArguments& arguments);
std::unique_ptr<CTesselPropertyPage> MakeSftpUserPage(const PageArguments& arguments);
std::unique_ptr<CTesselPropertyPage> MakeSftpGroupPage(const PageArguments& arguments);
std::unique_ptr<CTesselPropertyPage> MakeScpPage(const PageArguments& arguments);
std::unique_ptr<CTesselPropertyPage> MakeScpUserPage(const PageArguments& arguments);
std::unique_ptr<CTesselPropertyPage> MakeScpGroupPage(const PageArguments& arguments);
std::unique_ptr<CTesselPropertyPage> MakeCfgSettingsPage(const PageArguments& arguments);
std::unique_ptr<CTesselPropertyPage> MakeCfgIpMainPage(const PageArguments& arguments);
std::unique_ptr<CTesselPropertyPage> MakeAboutPage(const PageArguments& arguments);
std::unique_ptr<CTesselPropertyPage> MakeUserGenPage(const PageArguments& arguments);
std::unique_ptr<CTesselPropertyPage> MakeUserEnvPage(const PageArguments& arguments);
std::unique_ptr<CTesselPropertyPage> MakeUserTerminatePage(const PageArguments& arguments);
std::unique_ptr<CTesselPropertyPage> MakeUserFullConPage(const PageArguments& arguments);
std::unique_ptr<CTesselPropertyPage> MakeUserStreamPage(const PageArguments& arguments);
std::unique_ptr<CTesselPropertyPage> MakeUserNonInteractivePage(const PageArguments& arguments);
std::unique_ptr<CTesselPropertyPage> MakeUserKeyboardPage(const PageArguments& arguments);
std::unique_ptr<CTesselPropertyPage> MakeUserLogonPage(const PageArguments& arguments);
std::unique_ptr<CTesselPropertyPage> MakeUserAccessPage(const PageArguments& arguments);
std::unique_ptr<CTesselPropertyPage> MakeUserHandheldPage(const PageArguments& arguments);
std::unique_ptr<CTesselPropertyPage> MakeSftpUserTempFeaturePage(const PageArguments& arguments);
