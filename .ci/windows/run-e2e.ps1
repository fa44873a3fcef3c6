<#
.SYNOPSIS
Runs the end-to-end tests on Windows, against the real change journal of a small volume.

.DESCRIPTION
Run elevated, on a machine that may be thrown away: it attaches a virtual disk as T:, trusts a test certificate, and installs
and removes the service. Build is the folder of the preset windows-msvc.
#>
[CmdletBinding()]
param(
    [string]$Build = 'out\build\windows-msvc',
    [string]$Configuration = 'RelWithDebInfo',
    [string]$Results = 'out\results\windows'
)

Set-StrictMode -Version 2
$ErrorActionPreference = 'Stop'
$root = Resolve-Path (Join-Path $PSScriptRoot '..\..')
Set-Location $root
$installed = Join-Path $env:ProgramFiles 'TaviLumbraService'
$shipped = Join-Path $Build "shipped\$Configuration"
$tests = Join-Path $Build "tests\e2e\$Configuration"

function New-SmallVolume {
    diskpart /s (Join-Path $PSScriptRoot 'small-journal.diskpart')
    if ($LASTEXITCODE -ne 0) { throw 'diskpart failed' }
    fsutil usn createjournal m=1048576 a=262144 T:
    if ($LASTEXITCODE -ne 0) { throw 'the journal could not be created' }
    fsutil usn queryjournal T:
}

# A certificate of this name that this machine trusts.
function New-Publisher([string]$name) {
    $certificate = New-SelfSignedCertificate -Type CodeSigningCert -Subject "CN=$name" -CertStoreLocation Cert:\LocalMachine\My
    $file = Join-Path $env:TEMP "$name.cer"
    Export-Certificate -Cert $certificate -FilePath $file | Out-Null
    Import-Certificate -FilePath $file -CertStoreLocation Cert:\LocalMachine\Root | Out-Null
    return $certificate
}

function Copy-Signed([string]$from, [string]$name, $certificate) {
    $to = Join-Path $installed $name
    Copy-Item $from $to -Force
    $result = Set-AuthenticodeSignature -FilePath $to -Certificate $certificate -HashAlgorithm SHA256
    if ($result.Status -ne 'Valid') { throw "$name could not be signed: $($result.StatusMessage)" }
}

function Install-Programs {
    New-Item -ItemType Directory -Path $installed -Force | Out-Null
    $publisher = New-Publisher 'ZENLO ORVA Test Publisher'
    $other = New-Publisher 'Another Publisher'
    $client = Join-Path $shipped 'TaviListenClient.exe'
    Copy-Item (Join-Path $shipped 'TaviLumbraService.exe') $installed -Force
    Copy-Item $client (Join-Path $installed 'UnsignedClient.exe') -Force
    Copy-Signed $client 'TaviListenClient.exe' $publisher
    Copy-Signed $client 'OtherPublisherClient.exe' $other
    # One byte in the middle of the DOS stub: the program runs as before, its signature no longer fits.
    $bytes = [IO.File]::ReadAllBytes((Join-Path $installed 'TaviListenClient.exe'))
    $bytes[100] = $bytes[100] -bxor 0xFF
    [IO.File]::WriteAllBytes((Join-Path $installed 'TamperedClient.exe'), $bytes)
    foreach ($test in 'e2e_tests.exe', 'e2e_wrap_tests.exe') {
        Copy-Signed (Join-Path $tests $test) $test $publisher
    }
}

New-SmallVolume
Install-Programs
New-Item -ItemType Directory -Path $Results -Force | Out-Null
$env:TAVI_E2E_PROGRAMS = $installed
$env:TAVI_E2E_ROOT = 'T:\TaviTest'
$failed = 0
foreach ($test in 'e2e_tests', 'e2e_wrap_tests') {
    & (Join-Path $installed "$test.exe") "--gtest_output=json:$(Join-Path (Resolve-Path $Results) "$test.json")" | Out-Host
    if ($LASTEXITCODE -ne 0) { $failed++ }
}
& (Join-Path $installed 'TaviLumbraService.exe') /uninstall | Out-Host
exit $failed
